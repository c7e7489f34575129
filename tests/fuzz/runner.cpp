#include "fuzz/runner.h"

#include "fuzz/call_run.h"
#include "fuzz/faulty_host.h"

namespace tests {

using devhost::Host;

namespace {

/// What a host is as far as a plug-in learns it while it registers.
std::string KeyOf(const devhost::HostOptions& options) {
  std::string key = std::to_string(options.version);
  for (const char* entry :
       {"REALGetRBVersion", "PluginRegisterMethod", "PluginRegisterClassExtension", "PluginRegisterModule"}) {
    key += options.without.contains(entry) ? '-' : '+';
  }
  return key;
}

}  // namespace

ScenarioRunner::ScenarioRunner(const std::string& path) : image_(path), fresh_(image_.Save()) {}

const ScenarioRunner::Registered& ScenarioRunner::RegisteredWith(Host& host) {
  Registered& registered = registered_[KeyOf(host.options())];
  if (registered.methods.empty()) {
    image_.Restore(fresh_);
    image_.Start(&Host::Resolve);
    registered.image = image_.Save();
    registered.methods.resize(AllMethods().size());
    std::size_t next[] = {PictureMethods().size(), 0};
    for (const devhost::Registration& method : host.methods()) {
      registered.methods.at(next[method.extendsPicture ? 1 : 0]++) = method;
    }
  }
  return registered;
}

void ScenarioRunner::Run(const Scenario& scenario) {
  Host host(scenario.options);
  host.clock.ticksPerReading = scenario.ticksPerReading;
  host.clock.nanosecondsPerReading = scenario.ticksPerReading * 1'000'000;
  const Registered& registered = RegisteredWith(host);
  image_.Restore(registered.image);
  const FaultyHost fault(host, scenario.fault, sabotage == "kept-lock");
  for (const CallSpec& call : scenario.calls) {
    if (const auto& method = registered.methods[call.method]) {
      const bool copies = AllMethods()[call.method].result == "boolean";
      const auto run = (copies ? MakeCopyRun : MakeMakingRun)(host, call, fault);
      run->Run(*method, sabotage);
    }
  }
}

}  // namespace tests
