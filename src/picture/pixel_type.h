// The pixel types of the host's pictures.
#pragma once

#include <cstdint>

#include "pixels/layout.h"

namespace rastel {

/// How a picture keeps its pixels in memory. There are the three below and no other ones: whoever has a
/// picture's pixel type has a layout that can be converted.
struct PixelTypeTraits {
  std::int32_t number;
  pixels::Layout layout;
  std::uint8_t fourthByte;  // what pictures get where no channel is
};

// Pixel type 13 is opaque (alpha 255) and pixel type 8 has 0 in its spare byte: hosts expect the difference.
inline constexpr PixelTypeTraits kPixelType13{13, pixels::Layout::kARGB, 255};
inline constexpr PixelTypeTraits kPixelType12{12, pixels::Layout::kRGB, 0};
inline constexpr PixelTypeTraits kPixelType8{8, pixels::Layout::kBGRA, 0};

}  // namespace rastel
