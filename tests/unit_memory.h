// Allocations of the plug-in's own code: how large they are, that they fail, and that they are freed.
#pragma once

#include <cstddef>
#include <limits>
#include <set>

namespace tests {

/// What the linker leads calls of calloc and free to keeps these.
struct Callocs {
  static constexpr int kNoLimit = std::numeric_limits<int>::max();

  static inline int left = kNoLimit;
  static inline std::size_t largestBytes = 0;
  static inline auto& inUse =
      *new std::set<void*>;  // never destroyed: memory is freed to the end of the process
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

/// How much of what calloc gave is not freed yet, in calls.
inline std::size_t CallocsInUse() {
  return Callocs::inUse.size();
}

/// The most bytes that a call of calloc has asked for since a FailingCallocs began.
inline std::size_t LargestCallocBytes() {
  return Callocs::largestBytes;
}

}  // namespace tests
