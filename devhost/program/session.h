// A host with the plug-in loaded, and its pictures as images.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "devhost/host.h"
#include "devhost/program/image.h"

namespace devhost::program {

/// What the command line says of the host.
struct HostSettings {
  double version = HostOptions().version;
  Kind kind = Kind::kDesktop;
  std::optional<int> pixelType;       // 8, 12, 13, or 16: pictures to be read have a native depth of 16
  std::optional<std::string> plugin;  // else it is searched
};

/// A host with the plug-in loaded. Throws Failure: kUsage if the kind of host has no such pixel type,
/// kNoPlugin if there is no plug-in or it cannot be loaded.
std::unique_ptr<Host> OpenHost(const HostSettings& settings);

/// The format of the pictures that the plug-in is to read.
PixelFormat SourceFormat(const HostSettings& settings);

/// A host picture that shows `image`; the pixels' fourth byte, where there is one, is the alpha.
Ref<REALpictureStruct> MakePicture(Host& host, const Image& image, PixelFormat format);

/// What the picture's pixels hold; a pixel without a fourth byte has alpha 0.
Image ImageOf(REALpictureStruct& picture);

/// The pattern of pictures made up by the program: red x, green y, blue x + y, alpha 90.
Image Pattern(std::int32_t width, std::int32_t height);

/// kGood, or kDifferent and a line on standard error for each rule of the host that the plug-in broke.
int StatusOfComplaints(const Host& host);

}  // namespace devhost::program
