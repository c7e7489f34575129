#include "trial.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace tests {
namespace {

using devhost::Fault;
using devhost::Names;

CallSpec SpecFor(const HostCase& hostCase, Situation situation) {
  CallSpec spec = GoodCall(hostCase, {3, 2});
  spec.isMasked = situation == Situation::kMasked;
  if (situation == Situation::kBadArgument) {
    spec.integers["offset"] = -1;
  }
  return spec;
}

}  // namespace

std::string Trouble::Text() const {
  std::string text = fault.Text();
  if (memoryFrom != Plugin::kNever) {
    text.append(memoryOnce ? "-memory-once-" : "-memory-from-").append(std::to_string(memoryFrom));
  }
  return text;
}

Trial::Trial(const HostCase& hostCase, Situation situation, std::size_t method)
    : hostCase_(hostCase),
      host_(hostCase.GuardedOptions()),
      registered_([this] {
        plugin_.Register(&devhost::Host::Resolve);
        return plugin_.Save();
      }()),
      methods_(MethodsOf(host_)),
      method_(methods_.at(method)),
      spec_(SpecFor(hostCase, situation)) {
  LearnFromAGoodHost();
}

void Trial::LearnFromAGoodHost() {
  host_.trace.clear();
  host_.lookups.clear();
  plugin_.allocations = 0;
  Call(host_, method_, spec_).Run();
  calls_ = static_cast<int>(host_.trace.size());
  allocations_ = plugin_.allocations;
  const auto last = std::find_if_not(host_.trace.rbegin(), host_.trace.rend(), devhost::IsAtClose);
  close_ = method_.copies ? static_cast<int>(last.base() - host_.trace.begin()) : calls_;
  names_.insert(host_.lookups.begin(), host_.lookups.end());
  for (const auto& [found, alsoFound] : {std::pair{"REALGetPropValueInteger", "REALGetPropValueInt"},
                                         {"REALSetPropValueInteger", "REALSetPropValueInt"},
                                         {"PluginIntegerArrayGetProc", "RuntimeArrayDirectGetGetProc"},
                                         {"REALLoadObjectMethod", kDrawPicture}}) {
    if (names_.contains(found)) {
      names_.insert(alsoFound);
    }
  }
}

std::string Trial::RunInTrouble(const Trouble& trouble, Verdict& verdict) {
  Call call(host_, method_, spec_);
  devhost::Injection injection(host_, {trouble.fault});
  injection.onHit = [&](std::string_view entry) {
    verdict.reached = true;
    const bool isInDestructor =
        entry == "CFRelease" || (devhost::IsAtClose(host_.trace.back()) && injection.calls > close_);
    const bool throws = trouble.fault.kind == Fault::Kind::kThrows;
    verdict.releaseThrew = verdict.releaseThrew || (throws && isInDestructor);
  };
  host_.onEntry = std::ref(injection);
  plugin_.failFrom = trouble.memoryFrom;
  plugin_.failsOnce = trouble.memoryOnce;
  std::string failure = call.Run(&injection);
  verdict.reached =
      verdict.reached || !trouble.fault.missing.empty() || plugin_.allocations > trouble.memoryFrom;
  devhost::Repair(host_);
  plugin_.failFrom = Plugin::kNever;
  if (failure.empty() && !MayDifferAfter(trouble.fault)) {
    failure = call.Run();
    failure = failure.empty() ? "" : "the next call, on a good host: " + failure;
  }
  return failure;
}

/// A desktop host that does not say what it is passes for another kind from the first picture on that only
/// the bitmap route reads.
bool Trial::MayDifferAfter(const Fault& fault) const {
  return hostCase_.kind == devhost::Kind::kDesktop && fault.missing.contains("pluginObjectType") &&
         hostCase_.readFrom == devhost::PixelFormat::kBitmap;
}

void Trial::RunPoint(const Trouble& trouble, Verdict& verdict) {
  plugin_.Restore(registered_);
  host_.trace.clear();
  plugin_.allocations = 0;
  const auto live = plugin_.live.size();
  const std::string failure = RunInTrouble(trouble, verdict);
  verdict.Fail(failure.empty() && plugin_.live.size() != live ? "memory was not freed" : failure);
}

std::vector<Verdict> Trial::Run(const std::vector<Trouble>& troubles) {
  return RunIsolated(troubles.size(),
                     [&](std::size_t index, Verdict& verdict) { RunPoint(troubles[index], verdict); });
}

}  // namespace tests
