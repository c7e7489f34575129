// What x86 processors do better, from SSE2 to AVX-512. Part of vector.h.
#pragma once

#include <immintrin.h>

#include "pixels/vector.h"

namespace rastel::pixels {
namespace {

// Weighing: bytes become the high halves of 16-bit numbers; the high halves of the products are packed again.

template <>
inline Vector<16> Weigh(Vector<16> gray, std::uint16_t weight) {
  const __m128i weights = _mm_set1_epi16(static_cast<short>(weight));
  const __m128i low = _mm_mulhi_epu16(_mm_unpacklo_epi8(__m128i{}, (__m128i)gray), weights);
  const __m128i high = _mm_mulhi_epu16(_mm_unpackhi_epi8(__m128i{}, (__m128i)gray), weights);
  return (Vector<16>)_mm_packus_epi16(low, high);
}

template <>
inline void StorePastCaches(std::uint8_t* bytes, Vector<16> vector) {
  _mm_stream_si128(reinterpret_cast<__m128i*>(bytes), (__m128i)vector);
}

#ifdef __SSSE3__
template <>
inline Vector<16> Shuffle(Vector<16> bytes, Vector<16> control) {
  return (Vector<16>)_mm_shuffle_epi8((__m128i)bytes, (__m128i)control);
}
#endif

#ifdef __AVX2__
template <>
inline Vector<32> Weigh(Vector<32> gray, std::uint16_t weight) {
  const __m256i weights = _mm256_set1_epi16(static_cast<short>(weight));
  const __m256i low = _mm256_mulhi_epu16(_mm256_unpacklo_epi8(__m256i{}, (__m256i)gray), weights);
  const __m256i high = _mm256_mulhi_epu16(_mm256_unpackhi_epi8(__m256i{}, (__m256i)gray), weights);
  return (Vector<32>)_mm256_packus_epi16(low, high);
}

template <>
inline void StorePastCaches(std::uint8_t* bytes, Vector<32> vector) {
  _mm256_stream_si256(reinterpret_cast<__m256i*>(bytes), (__m256i)vector);
}
#endif

#if defined(__AVX2__) && !defined(__AVX512VBMI__)
/// Two lanes.
template <>
inline Vector<32> Shuffle(Vector<32> bytes, Vector<32> control) {
  return (Vector<32>)_mm256_shuffle_epi8((__m256i)bytes, (__m256i)control);
}
#endif

#ifdef __AVX512VBMI__
// Vectors of one lane, within which any byte can be moved.

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

template <>
inline Vector<32> Shuffle(Vector<32> bytes, Vector<32> control) {
  return (Vector<32>)_mm256_maskz_permutexvar_epi8(~HighBits(control), (__m256i)control, (__m256i)bytes);
}
template <>
inline Vector<64> Shuffle(Vector<64> bytes, Vector<64> control) {
  return (Vector<64>)_mm512_maskz_permutexvar_epi8(~HighBits(control), (__m512i)control, (__m512i)bytes);
}

/// One instruction for both shuffles.
template <typename V>
requires(sizeof(V) >= 32) class ShufflePair<V> {
 public:
  ShufflePair() = default;
  ShufflePair(V first, V second)
      : control_((second & kNoByte) == 0 ? second | std::uint8_t{sizeof(V)} : first),
        used_(~HighBits(control_)) {}
  V operator()(V first, V second) const { return Permute(used_, control_, first, second); }

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

/// Part of a block in memory that is loaded without the bytes behind it.
struct MaskedSource {
  const std::uint8_t* bytes;
  std::ptrdiff_t count;
};

/// Bytes that are not there are 0.
template <typename V>
inline V LoadFrom(const MaskedSource& source, std::ptrdiff_t offset) {
  const __mmask64 there = FirstBits(source.count - offset);
  if constexpr (sizeof(V) == 64) {
    return (V)_mm512_maskz_loadu_epi8(there, source.bytes + offset);
  } else {
    return (V)_mm256_maskz_loadu_epi8(static_cast<__mmask32>(there), source.bytes + offset);
  }
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

/// Bytes whose bits are not set are not touched.
inline void StoreMasked(std::uint8_t* bytes, __mmask64 mask, Vector<32> vector) {
  _mm256_mask_storeu_epi8(bytes, static_cast<__mmask32>(mask), (__m256i)vector);
}
inline void StoreMasked(std::uint8_t* bytes, __mmask64 mask, Vector<64> vector) {
  _mm512_mask_storeu_epi8(bytes, mask, (__m512i)vector);
}

template <typename V, int Count>
requires kHasMaskedAccess<V>
inline void StoreFirst(std::uint8_t* destination, const V (&block)[Count], std::ptrdiff_t bytes) {
  for (int i = 0; i < Count; ++i) {
    const __mmask64 mask = FirstBits(bytes - i * kBytesOf<V>);
    if (mask != 0) {
      StoreMasked(destination + i * kBytesOf<V>, mask, block[i]);
    }
  }
}

template <>
inline Vector<64> Weigh(Vector<64> gray, std::uint16_t weight) {
  const __m512i weights = _mm512_set1_epi16(static_cast<short>(weight));
  const __m512i low = _mm512_mulhi_epu16(_mm512_unpacklo_epi8(__m512i{}, (__m512i)gray), weights);
  const __m512i high = _mm512_mulhi_epu16(_mm512_unpackhi_epi8(__m512i{}, (__m512i)gray), weights);
  return (Vector<64>)_mm512_packus_epi16(low, high);
}

template <>
inline void StorePastCaches(std::uint8_t* bytes, Vector<64> vector) {
  _mm512_stream_si512(reinterpret_cast<__m512i*>(bytes), (__m512i)vector);
}

template <>
constexpr bool kHasRegisterTables<Vector<64>> = true;

template <>
class RegisterTable<Vector<64>> {
 public:
  explicit RegisterTable(const std::uint8_t* table) {
    for (int i = 0; i < 4; ++i) {
      quarters_[i] = _mm512_loadu_si512(table + i * 64);
    }
  }
  Vector<64> operator()(Vector<64> index) const {
    const __m512i low = _mm512_permutex2var_epi8(quarters_[0], (__m512i)index, quarters_[1]);
    const __m512i high = _mm512_permutex2var_epi8(quarters_[2], (__m512i)index, quarters_[3]);
    return (Vector<64>)_mm512_mask_blend_epi8(HighBits(index), low, high);
  }

 private:
  __m512i quarters_[4];
};
#endif

}  // namespace
}  // namespace rastel::pixels
