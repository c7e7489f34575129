// A host for the plug-in's objects, linked into the test, and the memory that they allocate.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "devhost/faults.h"
#include "devhost/state.h"
#include "host/entries.h"
#include "support.h"

namespace tests {

/// Forgets what entries were bound to.
template <typename... Entries>
void Unbind(Entries&... entries) {
  ((std::construct_at(&entries)), ...);
}

/// What a host of these options offers, bound anew.
struct LinkedHost : devhost::Host {
  explicit LinkedHost(devhost::HostOptions hostOptions = {}) : Host(std::move(hostOptions)) {
    rastel::gResolver = &Host::Resolve;
    rastel::rbversion_rbversion = options().version;
    Unbind(rastel::REALnewInstance, rastel::REALSetPropValueString, rastel::REALSetPropValueInteger,
           rastel::REALRaiseException, rastel::REALUnlockObject, rastel::REALUnlockString,
           rastel::originalREALBuildString, rastel::REALBuildStringWithEncoding, rastel::REALConvertString,
           rastel::REALSetStringEncoding, rastel::REALGetArrayUBound, rastel::REALGetArrayValueInteger,
           rastel::REALYieldToRB);
  }
  explicit LinkedHost(double version, devhost::Names without = {})
      : LinkedHost({.version = version, .without = std::move(without)}) {}

  /// All calls of `entry` fail.
  void FailAt(const std::string& entry) {
    Inject({{.kind = devhost::Fault::Kind::kFails, .entry = entry, .once = false}});
  }

  /// The first call of each entry, or every one, does what `act` does, which throws.
  void ThrowAt(const std::vector<std::string>& entries, std::function<void()> act, bool always = false) {
    std::vector<devhost::Fault> faults;
    std::ranges::transform(entries, std::back_inserter(faults), [always](const std::string& entry) {
      return devhost::Fault{.kind = devhost::Fault::Kind::kThrows, .entry = entry, .once = !always};
    });
    Inject(std::move(faults));
    injection_->onHit = [act = std::move(act)](std::string_view) { act(); };
  }

  /// What was raised last.
  static devhost::ExceptionObject* Raised() { return devhost::Entries::State().raised; }

 private:
  void Inject(std::vector<devhost::Fault> faults) {
    injection_ = std::make_unique<devhost::Injection>(*this, std::move(faults));
    onEntry = std::ref(*injection_);
  }

  std::unique_ptr<devhost::Injection> injection_;
};

inline void ExpectRaised(const std::string& className, const std::string& message) {
  ASSERT_NE(nullptr, LinkedHost::Raised());
  EXPECT_EQ(className, LinkedHost::Raised()->className);
  EXPECT_EQ(message, LinkedHost::Raised()->message.value_or("(null)"));
}

/// Kept by the functions that the linker leads the plug-in's calls of calloc and free to.
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
