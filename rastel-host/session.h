// A host with the plug-in loaded, and its pictures as images.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "devhost/faults.h"
#include "rastel-host/failure.h"
#include "rastel-host/image.h"

namespace devhost::program {

/// What the command line says of the host.
struct HostSettings {
  double version = HostOptions().version;
  std::optional<Kind> kind;           // else as the pixel type needs it
  std::optional<int> pixelType;       // 8, 12, 13, or 16: pictures to be read have a native depth of 16
  std::optional<std::string> plugin;  // else it is looked for
  std::vector<std::string> without;
  std::vector<Fault> faults;
  bool guarded = false;  // memory between pages without access
};

/// "desktop", …: in the order of Kind.
inline constexpr const char* kKindNames[] = {"desktop", "console", "web", "unknown"};

/// A host with the plug-in loaded.
class Session {
 public:
  /// Throws Failure: kUsage if the settings contradict each other or name what no host has, kNoPlugin if
  /// there is no plug-in, it cannot be loaded, or registers nothing; and HostFault.
  explicit Session(const HostSettings& settings);

  Host* operator->() const { return host_.get(); }
  Host& host() const { return *host_; }

  const std::string& plugin() const { return plugin_; }  // its path

  /// That the plug-in registered no method of this name; says which is the nearest.
  Failure NoMethod(const std::string& name) const;

  /// A line for each fault that never happened, since its call never came.
  std::vector<std::string> FaultsNotDue() const;

  /// The format of the pictures that the plug-in is to read.
  PixelFormat SourceFormat() const;

 private:
  void Arm();

  HostSettings settings_;
  std::string plugin_;
  std::map<std::string, int, std::less<>> calls_;  // of each entry so far, if there are faults
  std::unique_ptr<Host> host_;
  bool isLoaded_ = false;
  std::optional<Injection> named_, any_;  // faults of named entries, and of any
};

std::string NameOf(const Registration& method);

/// A host picture that shows `image`; the pixels' fourth byte, where there is one, is the alpha.
Ref<REALpictureStruct> MakePicture(Host& host, const Image& image, PixelFormat format);

/// What the picture's pixels hold; a pixel without a fourth byte has alpha 0.
Image ImageOf(REALpictureStruct& picture);

/// "picture 512x512, pixel type 13, 2048 bytes a row".
std::string PictureText(const REALpictureStruct& picture);

/// "NilObjectException: Memoryblock is nil".
std::string ExceptionText(const RaisedException& exception);

/// What was lost since the host's balance was `before`, and the host's rules that the plug-in broke: a line
/// each. An UnlockPixels call that is due to a picture read through a copy is no loss.
std::vector<std::string> Losses(const Host& host, const Balance& before);

}  // namespace devhost::program
