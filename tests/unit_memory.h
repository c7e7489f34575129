// Allocations of the plug-in's own code: how large they are, that they fail, and that they are freed.
#pragma once

#include <cstddef>

namespace tests {

/// While it lives, the plug-in's calls of calloc fail from number `first` (from 0) on.
class FailingCallocs {
 public:
  explicit FailingCallocs(int first);
  FailingCallocs(const FailingCallocs&) = delete;
  FailingCallocs& operator=(const FailingCallocs&) = delete;
  ~FailingCallocs();
};

/// How much of what calloc gave is not freed yet, in calls.
std::size_t CallocsInUse();

/// The most bytes that a call of calloc has asked for since a FailingCallocs began.
std::size_t LargestCallocBytes();

}  // namespace tests
