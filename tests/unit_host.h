// A host for the plug-in's objects, linked into the test.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "devhost/state.h"
#include "host/entries.h"
#include "support.h"

namespace tests {

/// Forgets what an entry was bound to.
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
  explicit LinkedHost(double version, std::set<std::string, std::less<>> without = {})
      : LinkedHost({.version = version, .without = std::move(without)}) {}

  void FailAt(std::string entry) {
    onEntry = [entry = std::move(entry)](std::string_view called) {
      return called == entry ? devhost::Reaction::kFail : devhost::Reaction::kAct;
    };
  }

  /// Each entry does what `act` does, which throws, once and in this order.
  void ThrowAt(std::vector<std::string> entries, std::function<void()> act) {
    due_ = std::move(entries);
    onEntry = [this, act = std::move(act)](std::string_view called) {
      if (!due_.empty() && called == due_.front()) {
        due_.erase(due_.begin());
        act();
      }
      return devhost::Reaction::kAct;
    };
  }

  /// What was raised last.
  static devhost::ExceptionObject* Raised() { return devhost::Entries::State().raised; }

 private:
  std::vector<std::string> due_;
};

}  // namespace tests
