// The kernels of every CPU target beside the loops that people write.
#pragma once

#include <string>
#include <vector>

#include "bench/turns.h"

namespace bench {

/// One kind of conversion, of 640 × 480 pixels: the loop first, then the targets that the CPU has.
struct TargetsResult {
  std::string kind;
  std::vector<Timing> timings;
};

/// Throws std::runtime_error if a kernel and its loop do not give the same bytes.
std::vector<TargetsResult> MeasureTargets();

}  // namespace bench
