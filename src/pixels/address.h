// Address arithmetic.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rastel::pixels {

/// `index` steps of `step` bytes. Wraps: rows and pixels may be any distance apart, as long as nothing is
/// read or written where there is no memory.
constexpr std::ptrdiff_t Distance(std::ptrdiff_t index, std::ptrdiff_t step) {
  return static_cast<std::ptrdiff_t>(static_cast<std::uintptr_t>(index) * static_cast<std::uintptr_t>(step));
}

/// The address `index` steps of `step` bytes from `start`, computed as a number for the same reason.
template <typename Byte>
Byte* At(Byte* start, std::ptrdiff_t index, std::ptrdiff_t step) {
  const auto distance = static_cast<std::uintptr_t>(Distance(index, step));
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<Byte*>(reinterpret_cast<std::uintptr_t>(start) + distance);
}

}  // namespace rastel::pixels
