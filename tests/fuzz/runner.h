// Runs scenarios against the plug-in's file.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "fuzz/scenario.h"
#include "plugin.h"

namespace tests {

class ScenarioRunner {
 public:
  ScenarioRunner() : fresh_(plugin_.Save()) {}

  /// Says what is wrong with a call; empty: nothing.
  std::string Run(const Scenario& scenario);

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
