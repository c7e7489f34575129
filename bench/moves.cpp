#include <cstring>

#include "bench/reference.h"

namespace bench {

using namespace rastel::pixels;

namespace {

typedef std::uint64_t Line __attribute__((vector_size(64)));

template <typename Byte>
[[gnu::always_inline]] inline Line LoadLine(Byte* bytes) {
  Line line;
  std::memcpy(&line, bytes, sizeof line);
  return line;
}

/// What is loaded goes into what is stored, so that nothing is left out.
template <int From, int To, int Mask, bool isKept>
[[gnu::always_inline]] inline void MoveRow(std::uint8_t* to, const std::uint8_t* from,
                                           const std::uint8_t* mask, std::ptrdiff_t width) {
  Line sum{};
  for (std::ptrdiff_t x = 0; x + 64 <= width; x += 64) {
    for (int i = 0; i < From; ++i) {
      sum ^= LoadLine(from + x * From + i * 64);
    }
    for (int i = 0; i < Mask; ++i) {
      sum ^= LoadLine(mask + x * Mask + i * 64);
    }
    for (int i = 0; i < To; ++i) {
      std::uint8_t* line = to + x * To + i * 64;
      const Line stored = isKept ? sum ^ LoadLine(line) : sum;
      std::memcpy(line, &stored, sizeof stored);
    }
  }
}

template <int From, int To, int Mask = 0, bool isKept = false>
[[gnu::always_inline]] inline void MoveRows(const Rows& rows) {
  for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
    MoveRow<From, To, Mask, isKept>(rows.destination[y], rows.source[y], rows.mask[y], rows.width);
  }
}

template <int From>
[[gnu::always_inline]] inline void MoveFrom(const Conversion& conversion, const Rows& rows) {
  const bool isKept = conversion.rest == Rest::kKept || conversion.toStep > ChannelsOf(conversion.to).bytes;
  if (conversion.rest == Rest::kFromMask) {
    return ChannelsOf(conversion.mask).bytes == 3 ? MoveRows<From, 4, 3>(rows) : MoveRows<From, 4, 4>(rows);
  }
  switch (conversion.toStep) {
    case 1:
      return MoveRows<From, 1>(rows);
    case 3:
      return MoveRows<From, 3>(rows);
    default:
      return isKept ? MoveRows<From, 4, 0, true>(rows) : MoveRows<From, 4>(rows);
  }
}

}  // namespace

#ifdef __x86_64__
[[gnu::target_clones("avx512f", "avx2", "default")]]
#endif
void MoveAlone(const Conversion& conversion, const Rows& rows) {
  switch (conversion.fromStep) {
    case 1:
      return MoveFrom<1>(conversion, rows);
    case 3:
      return MoveFrom<3>(conversion, rows);
    default:
      return MoveFrom<4>(conversion, rows);
  }
}

}  // namespace bench
