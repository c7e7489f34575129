// The pixel types of the host's pictures.
#pragma once

#include <algorithm>
#include <cstdint>

#include "pixels/layout.h"

namespace rastel {

struct PixelTypeRow {
  std::int32_t pixelType;
  pixels::Layout layout;
  std::uint8_t fourthByte;  // what pictures get where no channel is
};

// Pixel type 13 is opaque (alpha 255) and pixel type 8 has 0 in its spare byte: hosts expect the difference.
inline constexpr PixelTypeRow kPixelTypes[] = {
    {13, pixels::Layout::kARGB, 255},
    {12, pixels::Layout::kRGB, 0},
    {8, pixels::Layout::kBGRA, 0},
};

/// The row of `pixelType`, which is that of an open picture: one of them.
constexpr const PixelTypeRow& RowOfPixelType(std::int32_t pixelType) {
  return *std::ranges::find(kPixelTypes, pixelType, &PixelTypeRow::pixelType);
}

}  // namespace rastel
