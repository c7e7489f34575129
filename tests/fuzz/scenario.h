// A scenario: a host, what goes wrong in it, and calls, all of it told by a few bytes.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <span>
#include <vector>

#include "call.h"
#include "devhost/faults.h"

namespace tests {

struct ScenarioCall {
  std::size_t method;  // among those that the host knows
  CallSpec spec;
  std::optional<std::size_t> refusal;  // among those of the method; nothing: no argument is bad
};

struct Scenario {
  devhost::HostOptions options;
  devhost::Fault fault;
  std::uint32_t ticksPerReading;
  std::vector<ScenarioCall> calls;
};

/// Any bytes tell a scenario; those that are missing are zero.
Scenario Decode(std::span<const std::uint8_t> bytes);

std::ostream& operator<<(std::ostream& stream, const Scenario& scenario);

}  // namespace tests
