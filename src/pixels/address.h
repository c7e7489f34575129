// Address arithmetic.
//
// Kernels include this file. Whatever of it they call is always inlined, since a copy of the function in an
// object that is compiled for one CPU target could become everyone's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace rastel::pixels {

/// `index` steps of `step` bytes. Wraps: rows and pixels may be any distance apart, as long as nothing is
/// read or written where there is no memory.
[[gnu::always_inline]] constexpr std::ptrdiff_t Distance(std::ptrdiff_t index, std::ptrdiff_t step) {
  return static_cast<std::ptrdiff_t>(static_cast<std::uintptr_t>(index) * static_cast<std::uintptr_t>(step));
}

/// The address `index` steps of `step` bytes from `start`, computed as a number for the same reason.
template <typename Byte>
[[gnu::always_inline]] inline Byte* At(Byte* start, std::ptrdiff_t index, std::ptrdiff_t step) {
  const auto distance = static_cast<std::uintptr_t>(Distance(index, step));
  // NOLINTNEXTLINE(performance-no-int-to-ptr)
  return reinterpret_cast<Byte*>(reinterpret_cast<std::uintptr_t>(start) + distance);
}

/// The bytes from one address to another, which may be of different memory: as many as At has to go.
template <typename Byte>
std::ptrdiff_t BytesFrom(Byte* from, Byte* to) {
  return static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(to) -
                                     reinterpret_cast<std::uintptr_t>(from));
}

/// Where rows or pixels begin: `step` bytes apart from `first` on, or, if there is a table, `offset` bytes
/// behind its entries, which are starts of rows that do not overlap.
template <typename Byte>
struct Places {
  Byte* first = nullptr;
  std::ptrdiff_t step = 0;
  Byte* const* table = nullptr;
  std::ptrdiff_t offset = 0;

  [[gnu::always_inline]] Byte* operator[](std::ptrdiff_t index) const {
    return table == nullptr ? At(first, index, step) : At(table[index], offset, 1);
  }

  /// The same, not to be written.
  operator Places<const Byte>() const requires(!std::is_const_v<Byte>) {
    return {first, step, table, offset};
  }

  /// All but the first `count` of these, which no table may list.
  Places From(std::ptrdiff_t count) const { return {At(first, count, step), step}; }

  /// The places `index` steps of `distance` bytes behind these.
  Places Behind(std::ptrdiff_t index, std::ptrdiff_t distance) const {
    return {At(first, index, distance), step, table, offset + Distance(index, distance)};
  }
};

}  // namespace rastel::pixels
