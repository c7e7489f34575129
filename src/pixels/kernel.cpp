// The kernel of CPUs that can shuffle bytes, compiled once for each target. RASTEL_TARGET names the target;
// RASTEL_LANE is the number of bytes within which its shuffles move bytes, RASTEL_LANES the number of such
// lanes in its vectors.
//
// To be read from the end: the finder picks the constants of the two layouts and the function for their kind,
// which converts rows (row.h) block by block: prepare (stages.h), arrange (arrange.h), store (vector.h).
#include "pixels/kernel.h"

#include <type_traits>
#include <utility>

#include "pixels/controls.h"
#include "pixels/row.h"

namespace rastel::pixels {
namespace {

using Wide = Geometry<RASTEL_LANE, RASTEL_LANES>;
// For rows shorter than a wide block. With masked accesses there is no need of it there; it serves instead
// where accesses of 64 bytes that cross cache lines cost most. Of memcpy, 4 -> 3 past the caches reached 0.86
// at 4096 x 4096 with them and 1.33 with 32 bytes; at 640 x 480 in rows with gaps, 4 -> 4 reached 0.89 and
// 0.97, 4 -> 3 0.66 and 0.71, four bytes with kept ones 0.80 and 0.91.
using Narrow = Geometry<kHasMaskedAccess<Wide::V> ? 32 : 16, 1>;

constexpr Kind kKinds[] = {
    {Stage::kNone, 1, 1, Rest::kFill, 0},     {Stage::kNone, 1, 3, Rest::kFill, 0},
    {Stage::kNone, 1, 4, Rest::kFill, 0},     {Stage::kNone, 1, 4, Rest::kKept, 0},
    {Stage::kNone, 1, 4, Rest::kFromMask, 3}, {Stage::kNone, 1, 4, Rest::kFromMask, 4},
    {Stage::kNone, 3, 1, Rest::kFill, 0},     {Stage::kNone, 3, 3, Rest::kFill, 0},
    {Stage::kNone, 3, 4, Rest::kFill, 0},     {Stage::kNone, 3, 4, Rest::kKept, 0},
    {Stage::kNone, 3, 4, Rest::kFromMask, 3}, {Stage::kNone, 3, 4, Rest::kFromMask, 4},
    {Stage::kNone, 4, 1, Rest::kFill, 0},     {Stage::kNone, 4, 3, Rest::kFill, 0},
    {Stage::kNone, 4, 4, Rest::kFill, 0},     {Stage::kNone, 4, 4, Rest::kKept, 0},
    {Stage::kNone, 4, 4, Rest::kFromMask, 3}, {Stage::kNone, 4, 4, Rest::kFromMask, 4},
    {Stage::kWeights, 1, 3, Rest::kFill, 0},  {Stage::kWeights, 1, 4, Rest::kFill, 0},
    {Stage::kWeights, 4, 3, Rest::kFill, 0},  {Stage::kWeights, 4, 4, Rest::kFill, 0},
    {Stage::kTables, 1, 3, Rest::kFill, 0},   {Stage::kTables, 1, 4, Rest::kFill, 0},
    {Stage::kTables, 4, 3, Rest::kFill, 0},   {Stage::kTables, 4, 4, Rest::kFill, 0},
};

template <class G>
const WidthControls& ControlsFor(const Plan& plan) {
  return std::is_same_v<G, Wide> ? plan.wide : plan.narrow;
}

template <class G, Kind kind>
void RunIn(const Plan& plan, const Rows& rows, bool pastCaches) {
  RowConverter<G, kind>(plan, ControlsFor<G>(plan)).Convert(rows, pastCaches);
  if (pastCaches) {
    FinishStoresPastCaches();
  }
}

template <Kind kind>
void Run(const Plan& plan, const Rows& rows, bool pastCaches) {
  constexpr bool kInRegisters = StageOf<Wide, kind.stage, kind.from>::kInRegisters;
  // Lanes in registers that are arranged into three bytes each are put together through memory where a vector
  // has several: half the speed of one lane at a time.
  constexpr bool kIsWide = Wide::kLanes == 1 || kind.to == 4 || !kInRegisters;
  using G = std::conditional_t<kIsWide, Wide, Narrow>;
  if constexpr (!kHasMaskedAccess<typename G::V> && !std::is_same_v<G, Narrow>) {
    if (rows.width < G::kPixels) {
      return RunIn<Narrow, kind>(plan, rows, false);
    }
  }
  if constexpr (kHasMaskedAccess<typename G::V> && !kInRegisters) {
    if (pastCaches || (kind.from == 4 && rows.width >= 2 * G::kPixels)) {
      return RunIn<Narrow, kind>(plan, rows, pastCaches);
    }
  }
  RunIn<G, kind>(plan, rows, pastCaches);
}

Kind KindOf(const Plan& plan) {
  const int to = ChannelsOf(plan.to).bytes;
  const Rest rest = to == 4 ? plan.rest : Rest::kFill;
  const int mask = rest == Rest::kFromMask ? ChannelsOf(plan.mask).bytes : 0;
  return {plan.stage, ChannelsOf(plan.from).bytes, to, rest, mask};
}

template <std::size_t... i>
decltype(Plan::run) RunOf(const Kind& kind, std::index_sequence<i...> /*all*/) {
  decltype(Plan::run) run = nullptr;
  ((run = kKinds[i] == kind ? Run<kKinds[i]> : run), ...);
  return run;
}

template <class G>
WidthControls FindControls(const Plan& plan) {
  const auto from = static_cast<std::size_t>(plan.from);
  const auto to = static_cast<std::size_t>(plan.to);
  const auto mask = static_cast<std::size_t>(plan.mask);
  constexpr auto kPixelsOfColours = static_cast<std::size_t>(Layout::kRGBA);
  const Controls* const changedGray =
      kMakesPlanes<G> ? kTable<G>.planes[to] : kTable<G>.colours[kPixelsOfColours][to];
  return {plan.stage == Stage::kNone ? kTable<G>.colours[from][to] : changedGray, kTable<G>.masks[mask][to]};
}

}  // namespace

#define RASTEL_JOIN(a, b) a##b
#define RASTEL_FINDER(target) RASTEL_JOIN(FindKernel_, target)

void RASTEL_FINDER(RASTEL_TARGET)(Plan& plan) {
  plan.wide = FindControls<Wide>(plan);
  plan.narrow = FindControls<Narrow>(plan);
  plan.run = RunOf(KindOf(plan), std::make_index_sequence<std::size(kKinds)>());
}

}  // namespace rastel::pixels
