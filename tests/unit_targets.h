// The CPU targets that tests run.
#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <type_traits>
#include <vector>

#include "figures.h"
#include "pixels/targets.h"

namespace rastel::pixels {
// The widest geometry without the CPU's instructions for it: it runs everywhere.
std::remove_pointer_t<KernelFinder> FindKernel_wide_plain;
}  // namespace rastel::pixels

namespace tests {

using rastel::pixels::Target;

inline std::vector<Target> TargetsThatRun(bool wanted) {
  std::vector<Target> targets;
  std::ranges::copy_if(rastel::pixels::Targets(), std::back_inserter(targets),
                       [wanted](const Target& target) { return target.isSupported() == wanted; });
  return targets;
}

/// What this processor runs and the widest geometry, or the one of them that RASTEL_TARGET asks for.
inline std::vector<Target> RunnableTargets() {
  std::vector<Target> targets = TargetsThatRun(true);
  targets.push_back({"wide_plain", [] { return true; }, rastel::pixels::FindKernel_wide_plain});
  if (const std::string only = WantedTarget(); !only.empty()) {
    std::erase_if(targets, [&](const Target& target) { return target.name != only; });
  }
  return targets;
}

template <typename Targets>
std::string Names(const Targets& targets) {
  std::string names;
  for (const Target& target : targets) {
    names += (names.empty() ? "" : ",") + std::string(target.name);
  }
  return names;
}

}  // namespace tests
