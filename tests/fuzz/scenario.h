// A scenario: a host, what goes wrong in it, and calls, all of it told by a few bytes.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>
#include <utility>
#include <vector>

#include "call.h"
#include "devhost/faults.h"

namespace tests {

struct Scenario {
  devhost::HostOptions options;
  devhost::Fault fault;
  std::uint32_t ticksPerReading;
  /// The method as a number among those that the host knows.
  std::vector<std::pair<std::size_t, CallSpec>> calls;
};

/// Any bytes tell a scenario; those that are missing are zero.
Scenario Decode(std::span<const std::uint8_t> bytes);

std::ostream& operator<<(std::ostream& stream, const Scenario& scenario);

}  // namespace tests
