// Giving the host control now and then during a long copy.
#pragma once

#include <cstdint>

namespace rastel {

/// When a copy last gave control to the host, and how long it is to wait before it does so again.
struct YieldData {
  std::int32_t Yield;      // 0: never; above 0: ticks of 1/60 second; below 0: the negated milliseconds
  std::int32_t LastYield;  // in the same unit; 0 at the start

  /// Calls "REALYieldToRB" if the interval has passed. To be called only when `Yield` is not 0.
  void DoYield();
};

}  // namespace rastel
