// The libraries that a user might take instead. Each adds those of its functions that do `task`, which
// outlives them.
#pragma once

#include <vector>

#include "bench/task.h"
#include "bench/turns.h"

namespace bench {

/// Not the colours that are asked for, where no function of the library gives them.
constexpr bool kOnlySameTraffic = false;

void AddYuv(const Task& task, std::vector<Contestant>& contestants);
void AddSwscale(const Task& task, std::vector<Contestant>& contestants);
void AddOpenCv(const Task& task, std::vector<Contestant>& contestants);

}  // namespace bench
