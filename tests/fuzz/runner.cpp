#include "fuzz/runner.h"

#include <functional>

namespace tests {

using devhost::Host;

namespace {

/// What a host is as far as a plug-in learns it while it registers.
std::string KeyOf(const devhost::HostOptions& options) {
  std::string key = std::to_string(options.version);
  for (const char* entry : {"REALGetRBVersion", "RegisterPluginVersion", "PluginRegisterMethod",
                            "PluginRegisterClassExtension", "PluginRegisterModule"}) {
    key += options.without.contains(entry) ? '-' : '+';
  }
  return key;
}

}  // namespace

const ScenarioRunner::Registered& ScenarioRunner::RegisteredWith(Host& host) {
  const auto [found, isNew] = registered_.try_emplace(KeyOf(host.options()));
  Registered& registered = found->second;
  if (isNew) {
    plugin_.Restore(fresh_);
    plugin_.Register(&Host::Resolve);
    registered.state = plugin_.Save();
    registered.methods = MethodsOf(host);
  }
  return registered;
}

std::string ScenarioRunner::Run(const Scenario& scenario) {
  Host host(scenario.options);
  host.clock.ticksPerReading = scenario.ticksPerReading;
  host.clock.nanosecondsPerReading = scenario.ticksPerReading * 1'000'000;
  const Registered& registered = RegisteredWith(host);
  plugin_.Restore(registered.state);
  devhost::Injection injection(host, {scenario.fault});
  if (scenario.fault.kind != devhost::Fault::Kind::kNone) {
    host.onEntry = std::ref(injection);
  }
  const auto live = plugin_.live.size();
  // A host that does not say what it is may pass for another kind from the second call on.
  const bool isKindKnown = !host.Lacks("pluginObjectType");
  const std::size_t most = registered.methods.empty() ? 0 : isKindKnown ? scenario.calls.size() : 1;
  for (std::size_t i = 0; i < most; ++i) {
    const auto& [number, spec, refusal] = scenario.calls[i];
    const Method& method = registered.methods[number % registered.methods.size()];
    const auto& refusals = method.refusals;
    const CallSpec& whole = refusal ? Refused(spec, refusals[*refusal % refusals.size()]) : spec;
    const std::string verdict = Call(host, method, whole).Run(&injection);
    if (!verdict.empty() || plugin_.live.size() != live) {
      return method.registration.declaration + ": " + (verdict.empty() ? "memory was not freed" : verdict);
    }
  }
  return "";
}

}  // namespace tests
