// A host with the plug-in loaded, and its pictures as images.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "devhost/faults.h"
#include "rastel-host/image.h"

namespace devhost::program {

/// What the command line says of the host.
struct HostSettings {
  double version = HostOptions().version;
  std::optional<Kind> kind;           // else as the pixel type needs it
  std::optional<int> pixelType;       // 8, 12, 13, or 16: pictures to be read have a native depth of 16
  std::optional<std::string> plugin;  // else it is searched
  std::set<std::string, std::less<>> without;
  std::vector<Fault> faults;
  bool guarded = false;  // memory between pages without access
  bool watched = true;   // calls are traced, and faults happen
};

/// "desktop", …: in the order of Kind.
inline constexpr const char* kKindNames[] = {"desktop", "console", "web", "unknown"};

/// A host with the plug-in loaded. Throws Failure: kUsage if the settings contradict each other or name what
/// no host has, kNoPlugin if there is no plug-in or it cannot be loaded; and HostFault.
std::unique_ptr<Host> OpenHost(const HostSettings& settings);

/// The settings as words of a command line, each after a blank.
std::string WordsOf(const HostSettings& settings);

/// The format of the pictures that the plug-in is to read.
PixelFormat SourceFormat(const HostSettings& settings);

/// A host picture that shows `image`; the pixels' fourth byte, where there is one, is the alpha.
Ref<REALpictureStruct> MakePicture(Host& host, const Image& image, PixelFormat format);

/// What the picture's pixels hold; a pixel without a fourth byte has alpha 0.
Image ImageOf(REALpictureStruct& picture);

/// The pattern of pictures made up by the program: red x, green y, blue x + y, alpha 90.
Image Pattern(std::int32_t width, std::int32_t height);

/// What was lost since the host's balance was `before`, and the host's rules that the plug-in broke: a line
/// each. An UnlockPixels call that is due to a picture read through a copy is no loss.
std::vector<std::string> Losses(const Host& host, const Balance& before);

/// The path of this program's file.
std::string ProgramPath();

/// The path of the plug-in: the one in `settings`, or the one that the search finds; throws Failure.
std::string PluginPath(const HostSettings& settings);

}  // namespace devhost::program
