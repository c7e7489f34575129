// The kernels of every CPU target beside the loops that people write.
#pragma once

#include <string>
#include <vector>

#include "bench/turns.h"

namespace bench {

/// One kind of conversion, of 640 × 480 pixels.
struct TargetsResult {
  std::string kind;
  Timing loop;
  std::vector<Timing> targets;  // those that the CPU has
};

/// Throws std::runtime_error if a kernel and its loop do not give the same bytes.
std::vector<TargetsResult> MeasureTargets();

}  // namespace bench
