// Whatever goes wrong in a host, nothing is lost, no result is wrong, and the next call is as good as ever.
#include <algorithm>
#include <functional>
#include <utility>

#include "call.h"
#include "figures.h"
#include "isolated.h"
#include "plugin.h"

namespace tests {
namespace {

using devhost::Fault;
using devhost::Names;
using Kind = Fault::Kind;

constexpr HostCase kHosts[] = {kDesktop, kDesktop24, kDesktop16, kDesktopBitmap, kConsole, kUnknown};

/// What goes wrong: host calls, and the plug-in's own allocations.
struct Trouble {
  Fault fault = {};
  int memoryFrom = Plugin::kNever;  // the number of the first allocation that fails
  bool memoryOnce = true;           // false: all from there on fail

  std::string Text() const {
    const char* allocations = memoryOnce ? "-memory-once-" : "-memory-from-";
    return fault.Text() + (memoryFrom == Plugin::kNever ? "" : allocations + std::to_string(memoryFrom));
  }
};

/// One method on one host that has registered the plug-in.
class Trial {
 public:
  Trial(const HostCase& hostCase, devhost::Host& host, Plugin& plugin, const Method& method, CallSpec spec)
      : hostCase_(hostCase), host_(host), plugin_(plugin), method_(method), spec_(std::move(spec)) {
    const Plugin::State registered = plugin.Save();
    LearnFromAGoodHost();
    plugin.Restore(registered);
  }

  /// Calls the method in the trouble and once more when it has passed, as the plug-in's first calls.
  void Run(const Trouble& trouble, Verdict& verdict) {
    host_.trace.clear();
    const auto live = plugin_.live.size();
    Call call(host_, method_, spec_);
    devhost::Injection injection(host_, {trouble.fault});
    injection.onHit = [&](std::string_view entry) {
      verdict.reached = true;
      const bool isInDestructor =
          entry == "CFRelease" || (devhost::IsAtClose(host_.trace.back()) && injection.calls > close_);
      verdict.releaseThrew |= trouble.fault.kind == Kind::kThrows && isInDestructor;
    };
    host_.onEntry = std::ref(injection);
    plugin_.allocations = 0;
    plugin_.failFrom = trouble.memoryFrom;
    plugin_.failsOnce = trouble.memoryOnce;
    std::string failure = call.Run(&injection);
    verdict.reached |= !trouble.fault.missing.empty() || plugin_.allocations > trouble.memoryFrom;
    devhost::Repair(host_);
    plugin_.failFrom = Plugin::kNever;
    if (failure.empty() && !MayDifferAfter(trouble.fault)) {
      failure = call.Run();
      failure = failure.empty() ? "" : "the next call, on a good host: " + failure;
    }
    verdict.Fail(failure.empty() && plugin_.live.size() != live ? "memory was not freed" : failure);
  }

  // Of a good host:
  int calls = 0;
  int allocations = 0;
  Names names;  // what the method looks up, and what can take its place

 private:
  void LearnFromAGoodHost() {
    host_.trace.clear();
    host_.lookups.clear();
    plugin_.allocations = 0;
    Call(host_, method_, spec_).Run();
    const auto& trace = host_.trace;
    calls = static_cast<int>(trace.size());
    allocations = plugin_.allocations;
    const auto last = std::find_if_not(trace.rbegin(), trace.rend(), devhost::IsAtClose);
    close_ = method_.copies ? static_cast<int>(last.base() - trace.begin()) : calls;
    names.insert(host_.lookups.begin(), host_.lookups.end());
    for (const auto& [found, alsoFound] : {std::pair{"REALGetPropValueInteger", "REALGetPropValueInt"},
                                           {"REALSetPropValueInteger", "REALSetPropValueInt"},
                                           {"PluginIntegerArrayGetProc", "RuntimeArrayDirectGetGetProc"},
                                           {"REALLoadObjectMethod", kDrawPicture}}) {
      if (names.contains(found)) {
        names.insert(alsoFound);
      }
    }
  }

  /// A desktop host that does not say what it is passes for another kind from the first picture on that only
  /// the bitmap route reads.
  bool MayDifferAfter(const Fault& fault) const {
    return hostCase_.kind == devhost::Kind::kDesktop && fault.missing.contains("pluginObjectType") &&
           hostCase_.readFrom == devhost::PixelFormat::kBitmap;
  }

  const HostCase& hostCase_;
  devhost::Host& host_;
  Plugin& plugin_;
  const Method& method_;
  const CallSpec spec_;
  int close_ = 0;  // the first call that destructors may make, where an exception ends the process
};

using Troubles = std::vector<Trouble>;

/// Calls `run` with every method on every host, and with the point's beginning.
void ForEachTrial(const std::function<void(Trial&, const std::string&)>& run) {
  for (const HostCase& hostCase : kHosts) {
    devhost::Host host(hostCase.GuardedOptions());
    Plugin plugin;
    plugin.Register(&devhost::Host::Resolve);
    const std::vector<Method> methods = MethodsOf(host);
    for (std::size_t i = 0; i < methods.size(); ++i) {
      const auto runIn = [&](const std::string& situation, const CallSpec& spec) {
        Trial trial(hostCase, host, plugin, methods[i], spec);
        run(trial, hostCase.name + ("/" + situation + "/") + std::to_string(i + 1) + "/");
      };
      CallSpec spec = GoodCall(hostCase, {3, 2});
      runIn("plain", spec);
      if (hostCase.ReadsThroughCopies() && methods[i].copies) {
        spec.isMasked = true;
        runIn("masked", spec);
      }
      if (hostCase.name == std::string_view(kDesktop.name)) {
        spec.integers["offset"] = -1;
        runIn("bad", spec);
      }
    }
  }
}

/// Runs what `make` gives for each trial.
void Sweep(const char* figure, double step, const std::function<Troubles(const Trial&)>& make) {
  Points points(figure, step);
  ForEachTrial([&](Trial& trial, const std::string& place) {
    for (const Trouble& trouble : make(trial)) {
      const std::string point = place + trouble.Text();
      if (points.IsDue(point)) {
        const Verdict verdict = RunIsolated([&](Verdict& result) { trial.Run(trouble, result); });
        points.Count(point, verdict.failure);
        points.also["reached"] += verdict.reached ? 1 : 0;
        points.also["ended"] += verdict.ended ? 1 : 0;
      }
    }
  });
}

TEST(Faults, OfHostCalls) {
  Sweep("host_calls", 24, [](const Trial& trial) {
    Troubles troubles;
    for (const Kind kind : {Kind::kFails, Kind::kThrows}) {
      for (const bool once : {true, false}) {
        // The last one is the call that is not made any more.
        for (int n = 0; n <= trial.calls; ++n) {
          troubles.push_back({.fault = {.kind = kind, .from = n, .once = once, .mayEnd = once}});
        }
      }
    }
    return troubles;
  });
}

/// Leaves out what no host can do without: one that counts references down but not up.
bool CanBeMissing(const Names& names) {
  return !names.contains("REALLockObject") || names.contains("REALUnlockObject");
}

TEST(Faults, OfMissingEntries) {
  Sweep("missing_entries", 24, [](const Trial& trial) {
    Troubles troubles;
    const auto add = [&](const Names& missing) {
      if (CanBeMissing(missing)) {
        troubles.push_back({.fault = {.kind = Kind::kMissing, .missing = missing}});
      }
    };
    const Names& all = trial.names;
    for (auto first = all.begin(); first != all.end(); ++first) {
      add({*first});
      for (auto second = std::next(first); second != all.end(); ++second) {
        add({*first, *second});
      }
      Names others = all;
      others.erase(*first);
      add(others);
    }
    add(all);
    return troubles;
  });
}

TEST(Faults, OfAllocationsInMethods) {
  Sweep("allocations_in_methods", 6, [](const Trial& trial) {
    Troubles troubles;
    for (const bool once : {true, false}) {
      for (int n = 0; n <= trial.allocations; ++n) {
        troubles.push_back({.memoryFrom = n, .memoryOnce = once});
      }
      // Methods allocate where a host's array is not as long as it said.
      for (int n = 0; trial.names.contains("RuntimeUBound") && n <= trial.calls; ++n) {
        troubles.push_back({.fault = {.kind = Kind::kFails, .from = n}, .memoryFrom = 0, .memoryOnce = once});
      }
    }
    return troubles;
  });
}

}  // namespace
}  // namespace tests
