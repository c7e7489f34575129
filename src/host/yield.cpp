#include "host/yield.h"

#include <limits>

#include "host/entries.h"
#include "host/platform.h"

namespace rastel {
namespace {

std::int32_t NowInTicks() {
  return static_cast<std::int32_t>(SystemTicks());
}

/// Milliseconds that do not fit become -2147483648, as in the processor's own conversion.
std::int32_t NowInMilliseconds() {
  const std::uint64_t milliseconds = SystemNanoseconds() / 1'000'000;
  constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
  return milliseconds > static_cast<std::uint64_t>(kHighest) ? std::numeric_limits<std::int32_t>::min()
                                                             : static_cast<std::int32_t>(milliseconds);
}

/// The time between the two, whichever is later. If it wraps to -2147483648 it stays negative: too short for
/// any interval.
std::int32_t Elapsed(std::int32_t now, std::int32_t last) {
  const std::uint32_t difference = static_cast<std::uint32_t>(now) - static_cast<std::uint32_t>(last);
  const bool isNegative = static_cast<std::int32_t>(difference) < 0;
  return static_cast<std::int32_t>(isNegative ? 0U - difference : difference);
}

}  // namespace

void YieldData::DoYield() {
  std::int32_t (*const now)() = Yield > 0 ? NowInTicks : NowInMilliseconds;
  const std::int64_t interval = Yield > 0 ? Yield : -std::int64_t{Yield};
  if (Elapsed(now(), LastYield) < interval) {
    return;
  }
  REALYieldToRB();
  LastYield = now();
}

}  // namespace rastel
