// Runs scenarios against the plug-in's file and holds every byte against the oracle.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/call_run.h"
#include "fuzz/plugin_image.h"
#include "fuzz/scenario.h"
#include "methods.h"

namespace tests {

class ScenarioRunner {
 public:
  /// Loads the plug-in at `path`; throws std::runtime_error if that fails.
  explicit ScenarioRunner(const std::string& path);

  /// Throws ScenarioFailure.
  void Run(const Scenario& scenario);

  /// Something that the plug-in is made to seem to do wrong, which has to be found: "over" and "under" write
  /// a byte beside the block, "channel" changes a byte of it or of the picture that was made, "kept-lock" and
  /// "double-unlock" are about picture descriptions. Empty: nothing.
  std::string sabotage;

 private:
  /// What the plug-in is after it has registered with a host, and the methods by their rows in AllMethods().
  struct Registered {
    PluginImage::State image;
    std::vector<std::optional<devhost::Registration>> methods;
  };

  const Registered& RegisteredWith(devhost::Host& host);

  PluginImage image_;
  PluginImage::State fresh_;
  std::map<std::string, Registered> registered_;  // by what the host is at registration
};

}  // namespace tests
