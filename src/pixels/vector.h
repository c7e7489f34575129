// The few operations on vectors of bytes that the kernel is made of: each written once for any width, and
// once more for a CPU that has an instruction for it. Everything here is internal to the object that includes
// it, which is compiled for one CPU target.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace rastel::pixels {
namespace {

template <std::size_t Bytes>
struct VectorType {
  typedef std::uint8_t Type __attribute__((vector_size(Bytes)));
};

template <std::size_t Bytes>
using Vector = typename VectorType<Bytes>::Type;

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

template <typename V>
inline V Splat(std::uint8_t byte) {
  return V{} + byte;
}

/// Two vectors as one of twice the width.
inline Vector<32> Concatenate(Vector<16> low, Vector<16> high) {
  return __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18,
                                 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
}

/// The lane `index` of a vector.
template <typename Lane, typename V>
inline Lane LaneOf(const V& vector, int index) {
  return Load<Lane>(reinterpret_cast<const std::uint8_t*>(&vector) + index * static_cast<int>(sizeof(Lane)));
}

/// Takes units of `Unit` bytes in turn from two vectors: from the low or the high halves of their lanes of
/// LaneBytes.
template <int LaneBytes, int Unit, typename V>
struct Zip {
  static V Low(V a, V b) { return Half(a, b, 0); }
  static V High(V a, V b) { return Half(a, b, LaneBytes / 2); }

 private:
  static V Half(V a, V b, int half) {
    V result;
    for (int i = 0; i < static_cast<int>(sizeof(V)); ++i) {
      const int unit = i % LaneBytes / Unit;
      const int byte = i / LaneBytes * LaneBytes + half + unit / 2 * Unit + i % Unit;
      result[i] = unit % 2 == 0 ? a[byte] : b[byte];
    }
    return result;
  }
};

template <>
struct Zip<16, 1, Vector<16>> {
  static Vector<16> Low(Vector<16> a, Vector<16> b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  }
  static Vector<16> High(Vector<16> a, Vector<16> b) {
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
  }
};

template <>
struct Zip<16, 2, Vector<16>> {
  static Vector<16> Low(Vector<16> a, Vector<16> b) {
    return __builtin_shufflevector(a, b, 0, 1, 16, 17, 2, 3, 18, 19, 4, 5, 20, 21, 6, 7, 22, 23);
  }
  static Vector<16> High(Vector<16> a, Vector<16> b) {
    return __builtin_shufflevector(a, b, 8, 9, 24, 25, 10, 11, 26, 27, 12, 13, 28, 29, 14, 15, 30, 31);
  }
};

/// As a shuffle's control: no byte, the result is 0.
constexpr std::uint8_t kNoByte = 0x80;

/// Byte i of the result is the byte of `bytes` that byte i of `control` names, counted within lanes of
/// LaneBytes; 0 where that is kNoByte.
template <int LaneBytes, typename V>
struct Shuffle {
  static V Do(V bytes, V control) {
    V result;
    for (std::size_t i = 0; i < sizeof(V); ++i) {
      const std::size_t lane = i / LaneBytes * LaneBytes;
      result[i] = (control[i] & 0x80) != 0 ? 0 : bytes[lane + control[i]];
    }
    return result;
  }
};

/// What two shuffles of two vectors make together. No byte of the result is named by both controls.
template <int LaneBytes, typename V>
class ShufflePair {
 public:
  ShufflePair() = default;
  ShufflePair(V first, V second) : first_(first), second_(second) {}
  V Do(V first, V second) const {
    return Shuffle<LaneBytes, V>::Do(first, first_) | Shuffle<LaneBytes, V>::Do(second, second_);
  }

 private:
  V first_, second_;
};

/// Every byte of `bytes` times `weight` (0 to 32767) over 256, at most 255.
template <typename V>
struct Weigh {
  static V Do(V bytes, std::uint16_t weight) {
    V result;
    for (std::size_t i = 0; i < sizeof(V); ++i) {
      const std::uint32_t weighed = (std::uint32_t{bytes[i]} * weight) >> 8;
      result[i] = static_cast<std::uint8_t>(weighed > 255 ? 255 : weighed);
    }
    return result;
  }
};

/// Looks every byte of `index` up in a table of 256 bytes. Only some targets can do that in registers.
template <typename V>
struct LookUp {
  static constexpr bool kInRegisters = false;
};

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

/// True if parts of blocks are loaded and stored as fast as whole ones.
template <typename V>
constexpr bool kHasMaskedAccess = false;

/// Stores past the caches where that is possible; `bytes` is aligned to the vector.
template <typename V>
struct Stream {
  static void Do(std::uint8_t* bytes, V vector) { Store(bytes, vector); }
};

inline void FinishStreams() {
#ifdef __SSE2__
  _mm_sfence();
#endif
}

#ifdef __SSE2__
/// Bytes become the high halves of 16-bit lanes; the high halves of the products are packed again.
template <>
struct Weigh<Vector<16>> {
  static Vector<16> Do(Vector<16> bytes, std::uint16_t weight) {
    const __m128i weights = _mm_set1_epi16(static_cast<short>(weight));
    const __m128i low = _mm_mulhi_epu16(_mm_unpacklo_epi8(__m128i{}, (__m128i)bytes), weights);
    const __m128i high = _mm_mulhi_epu16(_mm_unpackhi_epi8(__m128i{}, (__m128i)bytes), weights);
    return (Vector<16>)_mm_packus_epi16(low, high);
  }
};
template <>
struct Stream<Vector<16>> {
  static void Do(std::uint8_t* bytes, Vector<16> vector) {
    _mm_stream_si128(reinterpret_cast<__m128i*>(bytes), (__m128i)vector);
  }
};
#endif

#ifdef __SSSE3__
template <>
struct Shuffle<16, Vector<16>> {
  static Vector<16> Do(Vector<16> bytes, Vector<16> control) {
    return (Vector<16>)_mm_shuffle_epi8((__m128i)bytes, (__m128i)control);
  }
};
#endif

#ifdef __AVX2__
template <>
struct Zip<16, 1, Vector<32>> {
  static Vector<32> Low(Vector<32> a, Vector<32> b) {
    return (Vector<32>)_mm256_unpacklo_epi8((__m256i)a, (__m256i)b);
  }
  static Vector<32> High(Vector<32> a, Vector<32> b) {
    return (Vector<32>)_mm256_unpackhi_epi8((__m256i)a, (__m256i)b);
  }
};
template <>
struct Zip<16, 2, Vector<32>> {
  static Vector<32> Low(Vector<32> a, Vector<32> b) {
    return (Vector<32>)_mm256_unpacklo_epi16((__m256i)a, (__m256i)b);
  }
  static Vector<32> High(Vector<32> a, Vector<32> b) {
    return (Vector<32>)_mm256_unpackhi_epi16((__m256i)a, (__m256i)b);
  }
};
template <>
struct Shuffle<16, Vector<32>> {
  static Vector<32> Do(Vector<32> bytes, Vector<32> control) {
    return (Vector<32>)_mm256_shuffle_epi8((__m256i)bytes, (__m256i)control);
  }
};
template <>
struct Weigh<Vector<32>> {
  static Vector<32> Do(Vector<32> bytes, std::uint16_t weight) {
    const __m256i weights = _mm256_set1_epi16(static_cast<short>(weight));
    const __m256i low = _mm256_mulhi_epu16(_mm256_unpacklo_epi8(__m256i{}, (__m256i)bytes), weights);
    const __m256i high = _mm256_mulhi_epu16(_mm256_unpackhi_epi8(__m256i{}, (__m256i)bytes), weights);
    return (Vector<32>)_mm256_packus_epi16(low, high);
  }
};
template <>
struct Stream<Vector<32>> {
  static void Do(std::uint8_t* bytes, Vector<32> vector) {
    _mm256_stream_si256(reinterpret_cast<__m256i*>(bytes), (__m256i)vector);
  }
};
#endif

#ifdef __AVX512VBMI__
inline __mmask32 HighBits(Vector<32> bytes) {
  return _mm256_movepi8_mask((__m256i)bytes);
}
inline __mmask64 HighBits(Vector<64> bytes) {
  return _mm512_movepi8_mask((__m512i)bytes);
}

/// The bytes of `first` and of `second`, counted on, that `control` names; 0 where the bit in `used` is
/// clear.
inline Vector<32> Permute(__mmask32 used, Vector<32> control, Vector<32> first, Vector<32> second) {
  return (Vector<32>)_mm256_maskz_permutex2var_epi8(used, (__m256i)first, (__m256i)control, (__m256i)second);
}
inline Vector<64> Permute(__mmask64 used, Vector<64> control, Vector<64> first, Vector<64> second) {
  return (Vector<64>)_mm512_maskz_permutex2var_epi8(used, (__m512i)first, (__m512i)control, (__m512i)second);
}
inline Vector<32> Permute(__mmask32 used, Vector<32> control, Vector<32> bytes) {
  return (Vector<32>)_mm256_maskz_permutexvar_epi8(used, (__m256i)control, (__m256i)bytes);
}
inline Vector<64> Permute(__mmask64 used, Vector<64> control, Vector<64> bytes) {
  return (Vector<64>)_mm512_maskz_permutexvar_epi8(used, (__m512i)control, (__m512i)bytes);
}

/// True if a vector is one lane, within which any byte can be moved.
template <int LaneBytes, typename V>
constexpr bool kIsOneWideLane = LaneBytes == sizeof(V) && LaneBytes >= 32;

template <int LaneBytes, typename V>
requires kIsOneWideLane<LaneBytes, V>
struct Shuffle<LaneBytes, V> {
  static V Do(V bytes, V control) { return Permute(~HighBits(control), control, bytes); }
};
template <int LaneBytes, typename V>
requires kIsOneWideLane<LaneBytes, V>
class ShufflePair<LaneBytes, V> {
 public:
  ShufflePair() = default;
  ShufflePair(V first, V second)
      : control_((second & kNoByte) == 0 ? second | std::uint8_t{LaneBytes} : first),
        used_(~HighBits(control_)) {}
  V Do(V first, V second) const { return Permute(used_, control_, first, second); }

 private:
  V control_;
  decltype(HighBits(V{})) used_;
};
template <>
constexpr bool kHasMaskedAccess<Vector<64>> = true;
template <>
constexpr bool kHasMaskedAccess<Vector<32>> = true;

/// Bits for the first `bytes` bytes of a vector, which may be less than none or more than all.
inline __mmask64 FirstBits(std::ptrdiff_t bytes) {
  return bytes <= 0 ? 0 : bytes >= 64 ? ~__mmask64{0} : ~(~__mmask64{0} << bytes);
}

/// Accesses to the bytes of a vector whose bits are set in `mask`. Others are not touched, and loaded as 0.
inline Vector<32> LoadMasked(Vector<32> /*type*/, const std::uint8_t* bytes, __mmask64 mask) {
  return (Vector<32>)_mm256_maskz_loadu_epi8(static_cast<__mmask32>(mask), bytes);
}
inline Vector<64> LoadMasked(Vector<64> /*type*/, const std::uint8_t* bytes, __mmask64 mask) {
  return (Vector<64>)_mm512_maskz_loadu_epi8(mask, bytes);
}
inline void StoreMasked(std::uint8_t* bytes, __mmask64 mask, Vector<32> vector) {
  _mm256_mask_storeu_epi8(bytes, static_cast<__mmask32>(mask), (__m256i)vector);
}
inline void StoreMasked(std::uint8_t* bytes, __mmask64 mask, Vector<64> vector) {
  _mm512_mask_storeu_epi8(bytes, mask, (__m512i)vector);
}

/// Part of a block in memory that is loaded without the bytes behind it.
struct MaskedSource {
  const std::uint8_t* bytes;
  std::ptrdiff_t count;
};
template <typename V>
inline V LoadFrom(const MaskedSource& source, std::ptrdiff_t offset) {
  return LoadMasked(V{}, source.bytes + offset, FirstBits(source.count - offset));
}
template <typename V, int Count>
requires kHasMaskedAccess<V>
class PartOfBlock<V, Count> {
 public:
  PartOfBlock(const std::uint8_t* source, std::ptrdiff_t bytes) : source_{source, bytes} {}
  const MaskedSource& Source() const { return source_; }

 private:
  MaskedSource source_;
};
template <typename V, int Count>
requires kHasMaskedAccess<V>
inline void StoreFirst(std::uint8_t* destination, const V (&block)[Count], std::ptrdiff_t bytes) {
  constexpr auto kBytes = static_cast<std::ptrdiff_t>(sizeof(V));
  for (int i = 0; i < Count; ++i) {
    const __mmask64 mask = FirstBits(bytes - i * kBytes);
    if (mask != 0) {
      StoreMasked(destination + i * kBytes, mask, block[i]);
    }
  }
}
template <>
struct LookUp<Vector<64>> {
  static constexpr bool kInRegisters = true;
  explicit LookUp(const std::uint8_t* table) {
    for (int i = 0; i < 4; ++i) {
      parts[i] = _mm512_loadu_si512(table + i * 64);
    }
  }
  Vector<64> operator()(Vector<64> index) const {
    const __mmask64 isHigh = _mm512_movepi8_mask((__m512i)index);
    const __m512i low = _mm512_permutex2var_epi8(parts[0], (__m512i)index, parts[1]);
    const __m512i high = _mm512_permutex2var_epi8(parts[2], (__m512i)index, parts[3]);
    return (Vector<64>)_mm512_mask_blend_epi8(isHigh, low, high);
  }
  __m512i parts[4];
};
template <>
struct Weigh<Vector<64>> {
  static Vector<64> Do(Vector<64> bytes, std::uint16_t weight) {
    const __m512i weights = _mm512_set1_epi16(static_cast<short>(weight));
    const __m512i low = _mm512_mulhi_epu16(_mm512_unpacklo_epi8(__m512i{}, (__m512i)bytes), weights);
    const __m512i high = _mm512_mulhi_epu16(_mm512_unpackhi_epi8(__m512i{}, (__m512i)bytes), weights);
    return (Vector<64>)_mm512_packus_epi16(low, high);
  }
};
template <>
struct Stream<Vector<64>> {
  static void Do(std::uint8_t* bytes, Vector<64> vector) {
    _mm512_stream_si512(reinterpret_cast<__m512i*>(bytes), (__m512i)vector);
  }
};
#endif

#ifdef __ARM_NEON
template <>
struct Shuffle<16, Vector<16>> {
  static Vector<16> Do(Vector<16> bytes, Vector<16> control) {
    return (Vector<16>)vqtbl1q_u8((uint8x16_t)bytes, (uint8x16_t)control);
  }
};
#endif

}  // namespace
}  // namespace rastel::pixels
