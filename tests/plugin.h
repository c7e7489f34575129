// The plug-in's file, loaded once and put back to an earlier state in no time, with every allocation that it
// makes counted, and failing on demand.
#pragma once

#include <cstdint>
#include <limits>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "abi/records.h"

namespace tests {

/// The plug-in loaded beside a host, which has to exist when something is registered; at most one at a time.
/// Its imports of the C library's allocation functions lead to counting ones.
class Plugin {
 public:
  /// Throws std::runtime_error if the file cannot be loaded.
  Plugin();
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  /// Calls REALPluginMain.
  void Register(Resolver resolver) const;

  /// The plug-in's variables: bindings, flags, everything. What it allocated is not among them, so it may
  /// only be put back to states whose allocations still exist.
  using State = std::vector<std::uint8_t>;
  State Save() const;
  void Restore(const State& state) const;

  static constexpr int kNever = std::numeric_limits<int>::max();

  int allocations = 0;    // made or attempted
  int failFrom = kNever;  // the number of the first allocation that fails, counted from 0
  bool failsOnce = true;  // false: all from there on fail
  std::set<void*> live;   // what was allocated and not freed

  static Plugin* current;

  /// True if the allocation that is due is to fail. Counts it.
  bool ShouldFail();

 private:
  void FindVariables();
  void WatchImports();

  void* library_;
  std::vector<std::span<std::uint8_t>> variables_;
};

}  // namespace tests
