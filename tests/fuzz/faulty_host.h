// A host in which something goes wrong.
#pragma once

#include <string>
#include <string_view>

#include "devhost/host.h"
#include "fuzz/scenario.h"

namespace tests {

/// What a host throws.
struct HostFault {};

/// Entries that give something back. Where they do not act, or where they throw in a destructor, something is
/// lost by the nature of it.
bool IsRelease(std::string_view entry);

/// Makes calls of a host fail or throw while it lives.
class FaultyHost {
 public:
  /// `keepsLocks`: picture descriptions stay locked, which nothing may overlook.
  FaultyHost(devhost::Host& host, const Fault& fault, bool keepsLocks);
  ~FaultyHost() { host_.onEntry = nullptr; }
  FaultyHost(const FaultyHost&) = delete;
  FaultyHost& operator=(const FaultyHost&) = delete;

  FaultKind Kind() const { return fault_.kind; }
  /// True if a call has failed or thrown.
  bool HasFailed() const { return hasFailed_; }
  /// True if one of them was a call of `entry`, or may have been.
  bool HasFailedIn(std::string_view entry) const { return failed_ == entry || (fault_.lasts && hasFailed_); }

 private:
  devhost::Reaction React(std::string_view entry);

  devhost::Host& host_;
  Fault fault_;
  bool keepsLocks_;
  int count_ = 0;
  bool hasFailed_ = false;
  std::string failed_;  // the entry that failed last
};

}  // namespace tests
