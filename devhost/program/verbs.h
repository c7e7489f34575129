// What the program can do. Each verb prints its results on standard output and returns the exit status; it
// throws Failure if it cannot begin, or cannot bring its work to an end.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "devhost/program/expectation.h"
#include "devhost/program/session.h"
#include "devhost/program/text.h"

namespace devhost::program {

/// Lists what the plug-in registered.
int RunList(const HostSettings& settings);

struct ConvertOptions {
  HostSettings host;
  std::string in, out;  // a picture or raw bytes, as the name tells
  std::string layout = "RGB";
  std::optional<Size> size;         // of `in`, if that is raw bytes
  std::optional<std::string> mask;  // a picture whose green, inverted, is the alpha of the way back
  std::optional<std::int32_t> alpha;
  std::optional<Band> band;  // rows copied back; else all
  std::int32_t stride = 0;   // DestRowBytes
  std::int32_t yield = 0;
  std::optional<Size> destination;  // an existing picture to fill
  bool flip = false;
  bool pointer = false;  // Ptr instead of Memoryblock
};

/// Sends a buffer through the plug-in into a picture and back, and holds both against what is expected.
int RunConvert(const ConvertOptions& options);

struct CallOptions {
  HostSettings host;
  std::string method;
  std::vector<std::string> arguments;
  bool trace = false;
};

/// Calls one method with arguments given as texts.
int RunCall(const CallOptions& options);

struct ShowOptions {
  HostSettings host;
  std::string method;
};

/// Shows what one method does, as observed.
int RunShow(const ShowOptions& options);

struct DocsOptions {
  HostSettings host;
  std::string folder;
  std::vector<std::string> sheet;  // the picture for a contact sheet, and where that goes; or nothing
};

/// Writes a page for each family of methods, and an index. Runs the examples in it.
int RunDocs(const DocsOptions& options);

}  // namespace devhost::program
