// Gives the host control now and then during a long copy.
#pragma once

#include <cstdint>

namespace rastel {

/// How often a copy gives control to the host, and when it last did.
struct YieldData {
  std::int32_t Yield;      // 0: never; above 0: ticks of 1/60 second; below 0: milliseconds, negated
  std::int32_t LastYield;  // a time in the same unit; 0 at the start

  /// Calls "REALYieldToRB" if the last call was at least that long ago. `Yield` must not be 0.
  void DoYield();
};

}  // namespace rastel
