// Which byte comes from where, found out by calling a method with random bytes. Nothing of a method is known
// here but what was registered.
#pragma once

#include <string>
#include <vector>

#include "devhost/host.h"

namespace devhost::program {

/// What became of the bytes at the offsets 0 to 3 in one way of calling an overload.
struct TracedBytes {
  std::string flags;               // "LittleEndian = true"; empty for an overload without flags
  std::string where;               // "buffer", "picture"
  std::vector<std::string> cells;  // "red", "byte 2", "255", "kept"; "?" for what has no simple source

  bool operator==(const TracedBytes&) const = default;
};

/// One for each way to set the flags of `method`. Throws Failure if the method does not succeed.
std::vector<TracedBytes> TraceBytes(Host& host, const Registration& method);

}  // namespace devhost::program
