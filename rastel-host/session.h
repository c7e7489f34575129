// A host with the plug-in loaded, and its pictures as images.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devhost/faults.h"
#include "rastel-host/image.h"
#include "rastel-host/program.h"

namespace devhost::program {

/// What the command line says of the host.
struct HostSettings {
  double version = HostOptions().version;
  std::optional<Kind> kind;           // else as the pixel type needs it
  std::optional<int> pixelType;       // 8, 12, 13, or 16: pictures to be read have a native depth of 16
  std::optional<std::string> plugin;  // else it is looked for
  std::vector<std::string> without;
  std::vector<Fault> faults;  // those of any entry count from the loading of the plug-in on
  bool guarded = false;       // memory between pages without access
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

  /// All overloads of a method. Throws Failure (kUsage) if there is none.
  std::vector<const Registration*> MethodsNamed(const std::string& name) const;

  /// Calls a method. What a host entry throws ends the call: there is no result then, and the exception has
  /// no class. Throws Failure (kUsage) if there is no such method, or its arguments do not fit.
  CallResult Call(const std::string& method, const Arguments& arguments) const;

  /// A line for each fault that never happened, since its call never came.
  std::vector<std::string> FaultsNotDue() const;

  /// What the plug-in lost since `before`, and the host's rules that it broke: a line each. An UnlockPixels
  /// call that is due to a picture read through a copy is no loss.
  std::vector<std::string> Losses(const Balance& before) const;

  /// The format of the pictures that the plug-in is to read.
  PixelFormat SourceFormat() const;

  /// A host picture that shows `image`.
  Ref<REALpictureStruct> MakePicture(const Image& image, PixelFormat format) const;

 private:
  Failure Misused(const HostError& error) const;
  void Load(const HostSettings& settings);

  int pixelType_;
  std::string plugin_;
  std::unique_ptr<Host> host_;
  std::optional<Injection> injection_;
};

/// What the picture's pixels hold; the fourth byte is 0 where there is none.
Image ImageOf(REALpictureStruct& picture);

/// "NilObjectException: Memoryblock is nil".
std::string ExceptionText(const RaisedException& exception);

}  // namespace devhost::program
