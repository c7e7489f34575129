// The libraries that a user might take instead.
#pragma once

#include <optional>

#include "bench/task.h"
#include "bench/turns.h"

namespace bench {

/// Not the colours that are asked for, where no function of the library gives them.
constexpr bool kOnlySameTraffic = false;

using Peer = std::optional<Contestant>;

// The function of each library that does `task`, which outlives it, if there is one.
Peer YuvPeer(const Task& task);
Peer SwscalePeer(const Task& task);
Peer OpenCvPeer(const Task& task);

}  // namespace bench
