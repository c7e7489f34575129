// Allocations of the plug-in's own code that fail.
#pragma once

namespace tests {

/// While it lives, the plug-in's calls of calloc fail from number `first` (from 0) on.
class FailingCallocs {
 public:
  explicit FailingCallocs(int first);
  FailingCallocs(const FailingCallocs&) = delete;
  FailingCallocs& operator=(const FailingCallocs&) = delete;
  ~FailingCallocs();
};

}  // namespace tests
