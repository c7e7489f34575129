// A scenario: a host, what goes wrong in it, and calls, all of it told by a few bytes. It is run against the
// plug-in's file.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "call.h"
#include "devhost/faults.h"
#include "plugin.h"

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

class ScenarioRunner {
 public:
  ScenarioRunner() : fresh_(plugin_.Save()) {}

  /// Says what is wrong with a call; empty: nothing.
  std::string Run(Scenario scenario);

 private:
  /// What the plug-in is after it has registered with a host, and its methods.
  struct Registered {
    Plugin::State state;
    std::vector<Method> methods;
  };

  const Registered& RegisteredWith(devhost::Host& host);

  Plugin plugin_;
  Plugin::State fresh_;
  std::map<std::string, Registered> registered_;  // by what the host is at registration
};

}  // namespace tests
