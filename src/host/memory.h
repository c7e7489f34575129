// Memory of the C library, which the host or the plug-in frees with `free`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace rastel {

struct Free {
  void operator()(void* memory) const { std::free(memory); }
};

/// An array, a record or a text that was made by `calloc` or `strdup`. The owner frees it, unless `release()`
/// hands it over first.
template <typename T>
using CBuffer = std::unique_ptr<T, Free>;

/// No array and no text of the plug-in is larger.
inline constexpr std::uint32_t kMostBytes = 0x7FFFFFFF;

/// Makes an array of `count` zeroed elements (at least 1). Null for more than kMostBytes, or without memory.
template <typename T>
CBuffer<T> NewArray(std::uint64_t count) {
  const bool isPossible = count <= kMostBytes / sizeof(T);
  void* memory = isPossible ? std::calloc(static_cast<std::size_t>(count), sizeof(T)) : nullptr;
  return CBuffer<T>(static_cast<T*>(memory));
}

}  // namespace rastel
