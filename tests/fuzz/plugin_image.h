// The plug-in's file, loaded once and put back to an earlier state in no time.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "abi/records.h"

namespace tests {

/// A loaded plug-in whose variables can be saved and restored. What it allocated is neither: it may only be
/// put back to states whose allocations still exist.
class PluginImage {
 public:
  using State = std::vector<std::uint8_t>;

  /// Loads the file, which stays in memory for the life of the process. Throws std::runtime_error if that
  /// fails.
  explicit PluginImage(const std::string& path);

  /// Calls REALPluginMain.
  void Start(Resolver resolver) const { main_(resolver); }

  State Save() const;
  void Restore(const State& state) const;

 private:
  std::vector<std::span<std::uint8_t>> variables_;
  void (*main_)(Resolver) = nullptr;
};

}  // namespace tests
