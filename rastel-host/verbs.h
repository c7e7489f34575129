// What the program can do. Each verb prints its results on standard output and says how the program is to
// end; it throws Failure if it cannot begin, or cannot bring its work to an end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "rastel-host/failure.h"
#include "rastel-host/raw.h"
#include "rastel-host/session.h"
#include "rastel-host/text.h"

namespace devhost::program {

/// What most verbs take.
struct Common {
  HostSettings host;
  bool json = false;
};

/// Lists what the plug-in registered.
Status RunList(const Common& options);

struct CallOptions {
  Common common;
  std::string method;
  std::vector<std::string> arguments;
  std::optional<std::string> out;  // where the picture made goes, or the first block
  std::int32_t times = 1;
  bool trace = false;
};

/// Calls one method with arguments given as texts.
Status RunCall(const CallOptions& options);

struct ConvertOptions {
  Common common;
  std::string in, out;              // a picture or raw bytes
  RawForm raw;                      // of those of them that are raw; the layout also of the way between
  std::optional<std::string> mask;  // a picture whose green, inverted, is the alpha of the way back
  std::optional<std::int32_t> alpha;
  std::optional<Band> band;  // rows copied back; else all
  bool flip = false;
  bool verify = false;
};

/// Sends pixels through the plug-in into a picture and back.
Status RunConvert(const ConvertOptions& options);

struct CompareOptions {
  bool json = false;
  std::string a, b;
  RawForm raw;
  std::optional<std::string> difference;  // where a picture of the differences goes
};

/// Compares two files pixel by pixel.
Status RunCompare(const CompareOptions& options);

struct ShowOptions {
  HostSettings host;
  std::string method;
};

/// Shows what one method does, as observed.
Status RunShow(const ShowOptions& options);

struct DocsOptions {
  HostSettings host;
  std::string folder;
};

/// Writes a page for each family of methods, and an index. Runs the examples in them.
Status RunDocs(const DocsOptions& options);

struct CheckOptions {
  Common common;
  std::vector<std::string> globs;    // else all checks
  std::string program;               // how this program was called
  std::size_t jobs = 2;              // checks at once
  double timeout = 10;               // seconds for each
  std::uint64_t seed = 1;            // of sizes, numbers and bytes
  std::optional<std::string> junit;  // where a report for a build server goes
  bool list = false;
  bool inProcess = false;
};

/// Runs the checks of the plug-in.
Status RunCheck(CheckOptions options);

/// Measures every method beside a copy of the same bytes.
Status RunBench(const Common& options);

}  // namespace devhost::program
