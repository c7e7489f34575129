// The few operations on vectors of bytes that the kernels are made of, for any width. What an instruction set
// does better is a specialisation in a file of its own. Everything here is internal to the object that
// includes it, which is compiled for one CPU target.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace rastel::pixels {
namespace {

template <std::size_t Bytes>
struct VectorType {
  typedef std::uint8_t Type __attribute__((vector_size(Bytes)));
};

template <std::size_t Bytes>
using Vector = typename VectorType<Bytes>::Type;

template <typename V>
constexpr int kBytesOf = static_cast<int>(sizeof(V));

// Memory.

template <typename V>
inline V Load(const std::uint8_t* bytes) {
  V vector;
  std::memcpy(&vector, bytes, sizeof vector);
  return vector;
}

template <typename V>
inline V LoadFrom(const std::uint8_t* source, std::ptrdiff_t offset) {
  return Load<V>(source + offset);
}

template <typename V>
inline void Store(std::uint8_t* bytes, V vector) {
  std::memcpy(bytes, &vector, sizeof vector);
}

/// Stores past the caches where that is possible; `bytes` is aligned to the vector.
template <typename V>
inline void StorePastCaches(std::uint8_t* bytes, V vector) {
  Store(bytes, vector);
}

/// Ends a series of stores past the caches: what follows is seen after them.
inline void FinishStoresPastCaches() {
#ifdef __SSE2__
  __builtin_ia32_sfence();
#endif
}

/// True if parts of blocks are loaded and stored as fast as whole ones.
template <typename V>
constexpr bool kHasMaskedAccess = false;

/// The first `bytes` bytes of a block of `Count` vectors, of which no other byte is in memory.
template <typename V, int Count>
class PartOfBlock {
 public:
  [[gnu::always_inline]] PartOfBlock(const std::uint8_t* source, std::ptrdiff_t bytes) {
    if (bytes != 0) {
      std::memcpy(block_, source, static_cast<std::size_t>(bytes));
    }
  }

  /// What LoadFrom takes in the place of an address.
  const std::uint8_t* Source() const { return reinterpret_cast<const std::uint8_t*>(block_); }

 private:
  V block_[Count] = {};
};

/// Stores `bytes` bytes of a block from its byte `first` on, to where the block begins in memory. No cache
/// line without one of them is touched.
template <typename V, int Count>
[[gnu::always_inline]] inline void StorePart(std::uint8_t* destination, const V (&block)[Count],
                                             std::ptrdiff_t first, std::ptrdiff_t bytes) {
  std::memcpy(destination + first, reinterpret_cast<const std::uint8_t*>(block) + first,
              static_cast<std::size_t>(bytes));
}

/// Stores the first `bytes` bytes of a block. No other byte is written.
template <typename V, int Count>
[[gnu::always_inline]] inline void StoreFirst(std::uint8_t* destination, const V (&block)[Count],
                                              std::ptrdiff_t bytes) {
  StorePart(destination, block, 0, bytes);
}

// Bytes within vectors. A lane is how far a target's shuffles move bytes: a whole vector, or a half of one of
// 32 bytes.

template <typename V>
inline V Splat(std::uint8_t byte) {
  return V{} + byte;
}

/// Two lanes as one vector.
inline Vector<32> Concatenate(Vector<16> low, Vector<16> high) {
  return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18,
                                 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
}

/// The lane `index` of a vector.
template <typename Lane, typename V>
inline Lane LaneOf(const V& vector, int index) {
  return Load<Lane>(reinterpret_cast<const std::uint8_t*>(&vector) + index * kBytesOf<Lane>);
}

enum class Half : unsigned char { kLow, kHigh };

/// The byte of two vectors, counted on, that goes to byte `i` when units of `Unit` bytes are taken in turn
/// from the halves `half` of their lanes of `LaneBytes`.
template <int VectorBytes, int LaneBytes, int Unit>
constexpr int ZippedByte(int i, Half half) {
  const int unit = i % LaneBytes / Unit;
  const int byte = unit / 2 * Unit + i % Unit + (half == Half::kHigh ? LaneBytes / 2 : 0);
  return i / LaneBytes * LaneBytes + byte + (unit % 2 == 0 ? 0 : VectorBytes);
}

template <int LaneBytes, int Unit, Half half, typename V, int... I>
[[gnu::always_inline]] inline V ZipBytes(V a, V b, std::integer_sequence<int, I...> /*all*/) {
  return __builtin_shufflevector(a, b, ZippedByte<kBytesOf<V>, LaneBytes, Unit>(I, half)...);
}

/// Takes units of `Unit` bytes in turn from two vectors: from the low or the high halves of their lanes.
template <int LaneBytes, int Unit, Half half, typename V>
[[gnu::always_inline]] inline V Zip(V a, V b) {
  return ZipBytes<LaneBytes, Unit, half>(a, b, std::make_integer_sequence<int, kBytesOf<V>>());
}

/// In the control of a shuffle: no byte, the result is 0.
constexpr std::uint8_t kNoByte = 0x80;

/// Byte i of the result is the byte of `bytes` that byte i of `control` names, counted within its lane; 0
/// where that is kNoByte.
template <typename V>
inline V Shuffle(V bytes, V control) {
  V result;
  for (int i = 0; i < kBytesOf<V>; ++i) {
    result[i] = control[i] == kNoByte ? std::uint8_t{0} : bytes[control[i]];
  }
  return result;
}

/// What two shuffles of two vectors make together. No byte of the result is named by both controls.
template <typename V>
class ShufflePair {
 public:
  ShufflePair() = default;
  ShufflePair(V first, V second) : first_(first), second_(second) {}
  V operator()(V first, V second) const { return Shuffle(first, first_) | Shuffle(second, second_); }

 private:
  V first_, second_;
};

// Gray bytes.

/// Every byte of `gray` times `weight` (0 to 32767) over 256, at most 255.
template <typename V>
inline V Weigh(V gray, std::uint16_t weight) {
  V result;
  for (int i = 0; i < kBytesOf<V>; ++i) {
    const std::uint32_t weighed = (std::uint32_t{gray[i]} * weight) >> 8;
    result[i] = static_cast<std::uint8_t>(weighed > 255 ? 255 : weighed);
  }
  return result;
}

/// True if tables of 256 bytes fit into the registers of a target, as RegisterTable holds them.
template <typename V>
constexpr bool kHasRegisterTables = false;

/// Looks every byte of a vector up in a table of 256 bytes.
template <typename V>
class RegisterTable;

}  // namespace
}  // namespace rastel::pixels

#if defined(__SSE2__)
#include "pixels/vector_x86.h"
#elif defined(__ARM_NEON)
#include "pixels/vector_neon.h"
#endif
