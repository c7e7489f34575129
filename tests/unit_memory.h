// Allocations of the plug-in's own code: how large they are, that they fail, and that they are freed.
#pragma once

#include <cstddef>
#include <limits>
#include <set>

namespace tests {

/// Kept by the functions that the linker leads calls of calloc and free to.
struct Callocs {
  static constexpr int kNoLimit = std::numeric_limits<int>::max();

  static inline int left = kNoLimit;           // until they fail
  static inline std::size_t largestBytes = 0;  // asked for in a call since a FailingCallocs began
  // Not freed yet. Never destroyed, since memory is freed to the end of the process.
  static inline auto& inUse = *new std::set<void*>;
};

/// While it lives, the plug-in's calls of calloc fail from number `first` (from 0) on.
class FailingCallocs {
 public:
  explicit FailingCallocs(int first) {
    Callocs::left = first;
    Callocs::largestBytes = 0;
  }
  ~FailingCallocs() { Callocs::left = Callocs::kNoLimit; }
  FailingCallocs(const FailingCallocs&) = delete;
  FailingCallocs& operator=(const FailingCallocs&) = delete;
};

}  // namespace tests
