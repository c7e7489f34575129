// Whatever goes wrong in a host, nothing is lost, no result is wrong, and the next call is as good as ever.
#include <algorithm>
#include <cmath>
#include <functional>

#include "figures.h"
#include "trial.h"

namespace tests {
namespace {

using devhost::Fault;
using devhost::Names;
using Kind = Fault::Kind;

constexpr HostCase kHosts[] = {kDesktop, kDesktop24, kDesktop16, kDesktopBitmap, kConsole, kUnknown};

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
        RunTrial(hostCase, Situation::kPlain, i, make);
        if (hostCase.ReadsThroughCopies() && i < kPictureMethods) {
          RunTrial(hostCase, Situation::kMasked, i, make);
        }
        if (hostCase.name == std::string_view(kDesktop.name)) {
          RunTrial(hostCase, Situation::kBadArgument, i, make);
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
  void RunTrial(const HostCase& hostCase, Situation situation, std::size_t method,
                const std::function<Troubles(const Trial&)>& make) {
    constexpr const char* kSituations[] = {"plain", "masked", "bad"};
    const std::string place = std::string(hostCase.name) + "/" + kSituations[static_cast<int>(situation)] +
                              "/" + std::to_string(method + 1) + "/";
    const std::string wanted = WantedPoint();
    if (!wanted.empty() && !wanted.starts_with(place)) {
      return;
    }
    if (wanted.empty() && trials_++ % trialStep_ != Seed() % trialStep_) {
      return;
    }
    Trial trial(hostCase, situation, method);
    Troubles troubles = make(trial);
    std::erase_if(troubles, [&](const Trouble& trouble) {
      return wanted.empty() ? Mix(Seed(), ++number_) % step_ != 0 : place + trouble.Text() != wanted;
    });
    const auto verdicts = trial.Run(troubles);
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
        for (int n = 0; n <= trial.calls(); ++n) {
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
    const Names& all = trial.names();
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
      for (int n = 0; n <= trial.allocations(); ++n) {
        troubles.push_back({.memoryFrom = n, .memoryOnce = once});
      }
      // Methods allocate where a host's array is not as long as it said.
      for (int n = 0; trial.names().contains("RuntimeUBound") && n <= trial.calls(); ++n) {
        troubles.push_back({.fault = {.kind = Kind::kFails, .from = n}, .memoryFrom = 0, .memoryOnce = once});
      }
    }
    return troubles;
  });
  Figure figure("allocations_in_methods");
  points.AddTo(figure);
}

/// What a host was handed at the registration, which is its own from then on.
std::set<const void*> handedOver;

template <typename Definition>
void HandOver(const Definition& definition) {
  handedOver.insert({&definition, definition.common.name, definition.common.methods});
}

template <typename Row>
void HandOverDeclarations(const void* rows, std::uint32_t count) {
  for (std::uint32_t i = 0; i < count; ++i) {
    handedOver.insert(static_cast<const Row*>(rows)[i].declaration);
  }
}

template <typename Definition>
void RegisterDefinition(const char* entry, Definition* definition) {
  HandOver(*definition);
  const auto& common = definition->common;
  if (common.version <= 9) {
    HandOverDeclarations<OldMethodRow>(common.methods, common.methodCount);
  } else {
    HandOverDeclarations<REALmethodDefinition>(common.methods, common.methodCount);
  }
  reinterpret_cast<void (*)(Definition*)>(devhost::Host::Resolve(entry))(definition);
}

void* ResolveAndRecord(const char* name) {
  void* address = devhost::Host::Resolve(name);
  if (name == std::string_view("PluginRegisterModule")) {
    void (*const record)(REALmoduleDefinition*) = [](REALmoduleDefinition* definition) {
      RegisterDefinition("PluginRegisterModule", definition);
    };
    return reinterpret_cast<void*>(record);
  }
  if (name == std::string_view("PluginRegisterClassExtension")) {
    void (*const record)(REALclassDefinition*) = [](REALclassDefinition* definition) {
      RegisterDefinition("PluginRegisterClassExtension", definition);
    };
    return reinterpret_cast<void*>(record);
  }
  return address;
}

/// Registers on a host of `version` while allocations fail. Says what is wrong afterwards.
std::string RegisterWithout(double version, int failFrom, bool once, Verdict& verdict) {
  devhost::HostOptions options;
  options.version = version;
  devhost::Host host(options);
  Plugin plugin;
  handedOver.clear();
  plugin.failFrom = failFrom;
  plugin.failsOnce = once;
  plugin.Register(ResolveAndRecord);
  verdict.reached = plugin.allocations > failFrom;
  for (const void* memory : plugin.live) {
    if (!handedOver.contains(memory)) {
      return "memory was neither freed nor handed to the host";
    }
  }
  if (handedOver.contains(nullptr)) {
    return "something without methods was registered";
  }
  const auto count = host.methods().size();
  const bool isWhole = count == 50 || (verdict.reached && (count == 0 || count == 18 || count == 32));
  if (!isWhole || !host.complaints.empty()) {
    return std::to_string(count) + " methods were registered";
  }
  const auto block = host.NewMemoryBlock(4);
  const auto picture = host.NewPicture(1, 1);
  if (count >= 32 && !host.Call("MemoryblockRGBtoPictureKVZ", {block.get(), 0, 1, 1}).picture) {
    return "no picture was made";
  }
  if ((count == 18 || count == 50) &&
      !host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), 0}).boolean) {
    return "no picture was copied";
  }
  return "";
}

TEST(Faults, OfAllocationsInTheRegistration) {
  constexpr double kVersions[] = {0.0, 2007.5, 2011.0, 2012.5, 2013.0, 2013.04, 2999.9, 3000.0};
  constexpr int kMost = 28;  // more than there are at any registration
  int points = 0;
  int failures = 0;
  for (const double version : kVersions) {
    for (const bool once : {true, false}) {
      bool isOver = false;
      const auto verdicts = RunIsolated(kMost, [&](std::size_t n, Verdict& verdict) {
        if (!isOver) {
          verdict.Fail(RegisterWithout(version, static_cast<int>(n), once, verdict));
          isOver = !verdict.reached;
        }
      });
      for (std::size_t n = 0; n < verdicts.size(); ++n) {
        points += verdicts[n].reached ? 1 : 0;
        failures += verdicts[n].failure[0] != 0 ? 1 : 0;
        EXPECT_STREQ("", verdicts[n].failure)
            << "host " << version << ", allocation " << n << (once ? " alone" : " and all later ones");
      }
      EXPECT_FALSE(verdicts.back().reached);
    }
  }
  EXPECT_GT(points, 0);
  Figure("allocations_in_registration")
      .Add("points", points)
      .Add("failures", failures)
      .Add("versions", std::size(kVersions));
}

}  // namespace
}  // namespace tests
