#include "pixels/targets.h"

#include <algorithm>

namespace rastel::pixels {

#define RASTEL_TARGET(name, condition) void FindKernel_##name(const KernelRequest& request, Plan& plan);
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
  static const Target* best = nullptr;
  if (best == nullptr) {
    best = std::ranges::find_if(kTargets, [](const Target& target) { return target.isSupported(); });
  }
  return *best;
}

}  // namespace rastel::pixels
