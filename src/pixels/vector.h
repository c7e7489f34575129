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

/// Takes units of `Unit` bytes in turn from two vectors: from their low or their high halves.
template <int Unit>
struct Zip;

template <>
struct Zip<1> {
  static Vector<16> Low(Vector<16> a, Vector<16> b) {
    return __builtin_shufflevector(a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  }
  static Vector<16> High(Vector<16> a, Vector<16> b) {
    return __builtin_shufflevector(a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
  }
};

template <>
struct Zip<2> {
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
template <>
struct Shuffle<64, Vector<64>> {
  static Vector<64> Do(Vector<64> bytes, Vector<64> control) {
    const __mmask64 used = ~_mm512_movepi8_mask((__m512i)control);
    return (Vector<64>)_mm512_maskz_permutexvar_epi8(used, (__m512i)control, (__m512i)bytes);
  }
};
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
