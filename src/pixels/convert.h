// Bytes in, bytes out: rows of pixels from one layout to another.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "pixels/layout.h"

namespace rastel::pixels {

/// What a channel-less byte of the destination's pixels gets.
enum class Rest : unsigned char {
  kFill,      // one value for all pixels
  kKept,      // nothing: the byte keeps what it holds
  kFromMask,  // 255 minus the green of the mask's pixel
};

/// Channel values by the value of a gray byte.
struct ChannelTables {
  std::array<std::uint8_t, 256> red, green, blue;
};

/// How pixels are converted. Plain data; the pointer is the caller's and must outlive the conversion.
struct Conversion {
  Layout from;
  Layout to;
  Rest rest = Rest::kFill;
  std::uint8_t fill = 0;                  // with Rest::kFill
  Layout mask = kGray;                    // with Rest::kFromMask
  std::ptrdiff_t fromStep = from.bytes;   // bytes from one source pixel to the next; any value
  std::ptrdiff_t toStep = to.bytes;       // likewise in the destination; bytes in between are kept
  const ChannelTables* tables = nullptr;  // if set, `from` is kGray and the channels are looked up
};

/// Rows of `width` pixels (at least 0), each `…Step` bytes from the one before; any step is allowed.
struct Rows {
  std::uint8_t* destination;
  std::ptrdiff_t destinationStep;
  const std::uint8_t* source;
  std::ptrdiff_t sourceStep;
  const std::uint8_t* mask;  // with Rest::kFromMask
  std::ptrdiff_t maskStep;
  std::ptrdiff_t width;
  std::ptrdiff_t count;
};

/// Converts `rows`, first to last and each from left to right. Nothing before the first or after the last
/// byte of a row's pixels is read or written, and the kept bytes in between keep their values. Source and
/// destination may be the same rows if their pixels have the same size.
void Convert(const Conversion& conversion, const Rows& rows);

}  // namespace rastel::pixels
