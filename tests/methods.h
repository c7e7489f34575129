// The methods as the plug-in registers them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "devhost/host.h"

namespace tests {

/// Why a method refuses its arguments.
struct Refusal {
  std::string parameter;
  std::optional<std::int32_t> highest;  // the highest integer that is refused; nothing: nil is
  const char* className;                // of the exception; null: nothing is raised
  const char* message;
};

struct Method : devhost::Registration {
  explicit Method(const devhost::Registration& registered);

  /// The letters of a pixel's bytes, as the oracle has them.
  std::string layout;
  bool copies;  // a picture into a block; else it makes a picture
  /// In the order in which the method looks.
  std::vector<Refusal> refusals;

  bool Has(std::string_view parameter, std::optional<rastel::abi::HostType> type = {}) const;
  bool HasWeights() const { return Has("Red", rastel::abi::HostType::kInteger); }
  bool HasPalettes() const { return Has("Red", rastel::abi::HostType::kIntegerArray); }
};

constexpr std::size_t kMethods = 50;
constexpr std::size_t kPictureMethods = 18;  // the first of them
constexpr std::int32_t kMostPixels = 32767;  // that a new picture is wide or high

/// All methods that `host` knows, in the order of their registration: on a complete host those of Picture,
/// which fill memory blocks, and then the global ones, which make pictures.
inline std::vector<Method> MethodsOf(const devhost::Host& host) {
  return {host.methods().begin(), host.methods().end()};
}

/// The plug-in's file in a host that has just loaded it.
struct LoadedHost : devhost::Host {
  explicit LoadedHost(devhost::HostOptions options = {}) : Host(std::move(options)) {
    Load(RASTEL_PLUGIN);
    all = MethodsOf(*this);
  }
  std::vector<Method> all;
};

}  // namespace tests
