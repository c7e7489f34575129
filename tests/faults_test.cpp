// Whatever goes wrong in a host, nothing is lost, no result is wrong, and the next call is as good as ever.
#include <algorithm>
#include <cmath>
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

/// One method on one host that has registered the plug-in. It is called again and again in processes of their
/// own while something goes wrong.
class Trial {
 public:
  Trial(const HostCase& hostCase, CallSpec spec, std::size_t method)
      : hostCase_(hostCase), host_(hostCase.GuardedOptions()), spec_(std::move(spec)) {
    plugin_.Register(&devhost::Host::Resolve);
    registered_ = plugin_.Save();
    methods_ = MethodsOf(host_);
    method_ = &methods_.at(method);
    LearnFromAGoodHost();
  }
  Trial(const Trial&) = delete;
  Trial& operator=(const Trial&) = delete;

  /// Calls the method in the trouble and once more when it has passed, as the plug-in's first calls.
  void Run(const Trouble& trouble, Verdict& verdict) {
    plugin_.Restore(registered_);
    host_.trace.clear();
    plugin_.allocations = 0;
    const auto live = plugin_.live.size();
    const std::string failure = RunInTrouble(trouble, verdict);
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
    Call(host_, *method_, spec_).Run();
    const auto& trace = host_.trace;
    calls = static_cast<int>(trace.size());
    allocations = plugin_.allocations;
    const auto last = std::find_if_not(trace.rbegin(), trace.rend(), devhost::IsAtClose);
    close_ = method_->copies ? static_cast<int>(last.base() - trace.begin()) : calls;
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

  std::string RunInTrouble(const Trouble& trouble, Verdict& verdict) {
    Call call(host_, *method_, spec_);
    devhost::Injection injection(host_, {trouble.fault});
    injection.onHit = [&](std::string_view entry) {
      verdict.reached = true;
      const bool isInDestructor =
          entry == "CFRelease" || (devhost::IsAtClose(host_.trace.back()) && injection.calls > close_);
      const bool throws = trouble.fault.kind == Kind::kThrows;
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
  bool MayDifferAfter(const Fault& fault) const {
    return hostCase_.kind == devhost::Kind::kDesktop && fault.missing.contains("pluginObjectType") &&
           hostCase_.readFrom == devhost::PixelFormat::kBitmap;
  }

  const HostCase hostCase_;
  devhost::Host host_;
  Plugin plugin_;
  Plugin::State registered_;
  std::vector<Method> methods_;
  const Method* method_;
  CallSpec spec_;
  int close_ = 0;  // the first call that destructors may make, where an exception ends the process
};

/// Points of many trials: each is run if it is drawn, counted, and reported if it fails.
class Points {
 public:
  /// Usually each method is tried on one host, which the seed chooses, and of each `step` points one is
  /// drawn. All are run at RASTEL_SOAK = `step` times the number of hosts.
  Points(const char* filter, double step)
      : filter_(filter),
        trialStep_(std::max<std::uint64_t>(1, std::llround(std::size(kHosts) / Soak()))),
        step_(std::max<std::uint64_t>(1, std::llround(step / std::max(1.0, Soak() / std::size(kHosts))))) {}

  using Troubles = std::vector<Trouble>;

  /// Runs what `make` gives for each trial: all methods on all hosts.
  void Run(const std::function<Troubles(const Trial&)>& make) {
    for (std::size_t i = 0; i < kMethods; ++i) {
      trials_ = i;
      for (const HostCase& hostCase : kHosts) {
        CallSpec spec = GoodCall(hostCase, {3, 2});
        RunTrial(hostCase, "plain", spec, i, make);
        if (hostCase.ReadsThroughCopies() && i < kPictureMethods) {
          spec.isMasked = true;
          RunTrial(hostCase, "masked", spec, i, make);
        }
        if (hostCase.name == std::string_view(kDesktop.name)) {
          spec.integers["offset"] = -1;
          RunTrial(hostCase, "bad", spec, i, make);
        }
      }
    }
  }

  /// Adds what all figures of this kind have.
  void AddTo(Figure& figure) const {
    figure.Add("points", count).Add("reached", reached).Add("failures", failures).Add("ended", ended);
    figure.Add("methods", kMethods).Add("hosts", std::size(kHosts)).Add("one_of", trialStep_ * step_);
  }

  int count = 0, reached = 0, failures = 0, ended = 0;

 private:
  void RunTrial(const HostCase& hostCase, const std::string& situation, const CallSpec& spec,
                std::size_t method, const std::function<Troubles(const Trial&)>& make) {
    const std::string place =
        std::string(hostCase.name) + "/" + situation + "/" + std::to_string(method + 1) + "/";
    const std::string wanted = WantedPoint();
    if (!wanted.empty() && !wanted.starts_with(place)) {
      return;
    }
    if (wanted.empty() && trials_++ % trialStep_ != Seed() % trialStep_) {
      return;
    }
    Trial trial(hostCase, spec, method);
    Troubles troubles = make(trial);
    std::erase_if(troubles, [&](const Trouble& trouble) {
      return wanted.empty() ? Mix(Seed(), ++number_) % step_ != 0 : place + trouble.Text() != wanted;
    });
    const auto verdicts = RunIsolated(
        troubles.size(), [&](std::size_t i, Verdict& verdict) { trial.Run(troubles[i], verdict); });
    for (std::size_t i = 0; i < troubles.size(); ++i) {
      Count(place + troubles[i].Text(), verdicts[i]);
    }
  }

  void Count(const std::string& point, const Verdict& verdict) {
    reached += verdict.reached ? 1 : 0;
    ended += verdict.ended ? 1 : 0;
    ++count;
    if (verdict.failure[0] != 0 && ++failures <= 20) {
      ADD_FAILURE() << point << ": " << verdict.failure << "; repeat with: " << Repeat(point, filter_);
    }
  }

  const char* filter_;
  std::uint64_t trialStep_, step_;
  std::uint64_t trials_ = 0, number_ = 0;
};

TEST(Faults, OfHostCalls) {
  Points points("Faults.OfHostCalls", 4);
  points.Run([](const Trial& trial) {
    std::vector<Trouble> troubles;
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
  Figure figure("host_calls");
  points.AddTo(figure);
}

/// Leaves out what no host can do without: one that counts references down but not up.
bool CanBeMissing(const Names& names) {
  return !names.contains("REALLockObject") || names.contains("REALUnlockObject");
}

TEST(Faults, OfMissingEntries) {
  Points points("Faults.OfMissingEntries", 4);
  points.Run([](const Trial& trial) {
    std::vector<Trouble> troubles;
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
  Figure figure("missing_entries");
  points.AddTo(figure);
}

TEST(Faults, OfAllocationsInMethods) {
  Points points("Faults.OfAllocationsInMethods", 1);
  points.Run([](const Trial& trial) {
    std::vector<Trouble> troubles;
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
  Figure figure("allocations_in_methods");
  points.AddTo(figure);
}

}  // namespace
}  // namespace tests
