// A host for the plug-in's objects, linked into the test, and the memory that they allocate.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <exception>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devhost/state.h"
#include "host/entries.h"
#include "support.h"

namespace tests {

/// The host of what is linked. Entries stay bound from one such host to the next.
struct LinkedHost : devhost::Host {
  explicit LinkedHost(devhost::HostOptions hostOptions = {}) : Host(std::move(hostOptions)) {
    rastel::gResolver = &Host::Resolve;
    rastel::rbversion_rbversion = options().version;
  }

  /// Calls of `entry` do nothing.
  void FailAt(const std::string& entry) {
    onEntry = [entry](std::string_view called) {
      return called == entry ? devhost::Reaction::kFail : devhost::Reaction::kAct;
    };
  }

  /// The first call of `entry`, or every one, throws.
  void ThrowAt(const std::string& entry, const std::exception_ptr& exception, bool always = false) {
    throws_ = true;
    onEntry = [=, this](std::string_view called) {
      if (called == entry && throws_) {
        throws_ = always;
        std::rethrow_exception(exception);
      }
      return devhost::Reaction::kAct;
    };
  }

 private:
  bool throws_ = false;
};

/// Expects that an exception was raised last; its message may be "(null)".
inline void ExpectRaised(const std::string& className, const std::string& message) {
  const devhost::ExceptionObject* raised = devhost::Entries::State().raised;
  ASSERT_NE(nullptr, raised);
  EXPECT_EQ(className, raised->className);
  EXPECT_EQ(message, raised->message.value_or("(null)"));
}

/// While it lives, the plug-in's calls of calloc fail from number `first` (from 0) on. The linker leads them
/// and those of free to functions that count.
class FailingCallocs {
 public:
  explicit FailingCallocs(int first) {
    left = first;
    largestBytes = 0;
  }
  ~FailingCallocs() { left = kNoLimit; }
  FailingCallocs(const FailingCallocs&) = delete;
  FailingCallocs& operator=(const FailingCallocs&) = delete;

  static constexpr int kNoLimit = std::numeric_limits<int>::max();

  static inline int left = kNoLimit;           // until they fail
  static inline int inUse = 0;                 // not freed yet
  static inline std::size_t largestBytes = 0;  // asked for in a call
};

}  // namespace tests
