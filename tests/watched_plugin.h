// The plug-in's file, with every allocation that it makes counted, and failing on demand.
#pragma once

#include <cstdint>
#include <limits>
#include <set>
#include <utility>
#include <vector>

#include "abi/records.h"

namespace tests {

/// The plug-in loaded beside a host, which has to exist and gets what is registered; at most one at a time.
/// Its imports of the C library's allocation functions lead to counting ones.
class WatchedPlugin {
 public:
  WatchedPlugin();
  ~WatchedPlugin();
  WatchedPlugin(const WatchedPlugin&) = delete;
  WatchedPlugin& operator=(const WatchedPlugin&) = delete;

  /// Calls REALPluginMain.
  void Register(Resolver resolver) const;

  /// Keeps the plug-in's data as they are, and puts them back: bindings, flags, everything.
  void Save();
  void Restore() const;

  static constexpr int kNever = std::numeric_limits<int>::max();

  int allocations = 0;     // made or attempted
  int failFrom = kNever;   // the number of the first allocation that fails, counted from 0
  bool failsOnce = true;   // false: all from there on fail
  std::set<void*> live;    // what was allocated and not freed
  int importsWatched = 0;  // functions of the C library that are counted

  static WatchedPlugin* current;

  /// True if the allocation that is due is to fail. Counts it.
  bool ShouldFail();

 private:
  void WatchImports();
  bool WatchImport(const char* name, void** slot);

  void* library_;
  std::vector<std::pair<std::uint8_t*, std::vector<std::uint8_t>>> saved_;
};

}  // namespace tests
