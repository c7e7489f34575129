// Address arithmetic.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rastel::pixels {

/// The address `index` steps of `step` bytes from `start`. Computed as a number that wraps: rows and pixels
/// may be any distance apart, as long as nothing is read or written where there is no memory.
template <typename Byte>
Byte* At(Byte* start, std::ptrdiff_t index, std::ptrdiff_t step) {
  const auto distance = static_cast<std::uintptr_t>(index) * static_cast<std::uintptr_t>(step);
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<Byte*>(reinterpret_cast<std::uintptr_t>(start) + distance);
}

}  // namespace rastel::pixels
