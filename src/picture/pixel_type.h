// The pixel types of the host's pictures.
#pragma once

#include <cstdint>

#include "pixels/layout.h"

namespace rastel {

/// How a picture's pixels lie in memory. There are the three types below and no others.
struct PixelTypeTraits {
  std::int32_t number;  // as the host counts them
  pixels::Layout layout;
  std::uint8_t fourthByte;  // what is written where no channel is
};

// Pixel type 13 is opaque (alpha 255) and pixel type 8 has 0 in its spare byte: hosts expect the difference.
inline constexpr PixelTypeTraits kPixelType13{13, pixels::Layout::kARGB, 255};
inline constexpr PixelTypeTraits kPixelType12{12, pixels::Layout::kRGB, 0};
inline constexpr PixelTypeTraits kPixelType8{8, pixels::Layout::kBGRA, 0};

}  // namespace rastel
