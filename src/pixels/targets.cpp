#include "pixels/targets.h"

#include <algorithm>
#include <atomic>

namespace rastel::pixels {

#define RASTEL_TARGET(name, condition) void FindKernel_##name(Plan& plan);
#include "pixels/target_list.inc"
#undef RASTEL_TARGET

namespace {

#define Has(feature) (__builtin_cpu_supports(feature) != 0)
#define RASTEL_TARGET(name, condition) {#name, [] { return condition; }, FindKernel_##name},
constexpr Target kTargets[] = {
#include "pixels/target_list.inc"
};
#undef RASTEL_TARGET
#undef Has

}  // namespace

std::span<const Target> Targets() {
  return kTargets;
}

const Target& BestTarget() {
  // Several threads may find it at once: all find the same.
  static constinit std::atomic<const Target*> found = nullptr;
  const Target* best = found.load(std::memory_order_relaxed);
  if (best == nullptr) {
    best = std::ranges::find_if(kTargets, [](const Target& target) { return target.isSupported(); });
    found.store(best, std::memory_order_relaxed);
  }
  return *best;
}

}  // namespace rastel::pixels
