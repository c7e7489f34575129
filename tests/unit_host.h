// A host for the plug-in's objects, linked into the test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "devhost/state.h"
#include "host/entries.h"
#include "support.h"

namespace tests {

/// What a host of these options offers, bound anew.
struct LinkedHost : devhost::Host {
  explicit LinkedHost(devhost::HostOptions hostOptions = {}) : Host(std::move(hostOptions)) {
    rastel::gResolver = &Host::Resolve;
    rastel::rbversion_rbversion = options().version;
    Forget(rastel::REALnewInstance, rastel::REALSetPropValueString, rastel::REALSetPropValueInteger,
           rastel::REALRaiseException, rastel::REALUnlockObject, rastel::REALUnlockString,
           rastel::originalREALBuildString, rastel::REALBuildStringWithEncoding, rastel::REALConvertString,
           rastel::REALSetStringEncoding, rastel::REALGetArrayUBound, rastel::REALGetArrayValueInteger,
           rastel::REALYieldToRB);
  }

  /// What was raised last.
  static devhost::ExceptionObject* Raised() { return devhost::Entries::State().raised; }

 private:
  template <typename... Entries>
  static void Forget(Entries&... entries) {
    ((std::construct_at(&entries)), ...);
  }
};

inline devhost::HostOptions OptionsFor(double version, std::set<std::string, std::less<>> without = {}) {
  devhost::HostOptions options;
  options.version = version;
  options.without = std::move(without);
  return options;
}

}  // namespace tests
