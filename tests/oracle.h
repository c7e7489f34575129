// What the methods have to write, pixel by pixel, as their documentation says it.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace oracle {

struct Colour {
  std::uint8_t red, green, blue;
};

/// Bytes of one pixel of a picture.
inline int PixelBytes(int pixelType) {
  return pixelType == 12 ? 3 : 4;
}

/// The colour of a picture's pixel whose first byte is `s[0]`.
inline Colour ReadPicture(int pixelType, const std::uint8_t* s) {
  switch (pixelType) {
    case 13:
      return {s[1], s[2], s[3]};
    case 12:
      return {s[0], s[1], s[2]};
    default:
      return {s[2], s[1], s[0]};
  }
}

/// The bytes of a picture's pixel.
inline std::basic_string<std::uint8_t> PicturePixel(int pixelType, Colour c) {
  switch (pixelType) {
    case 13:
      return {255, c.red, c.green, c.blue};
    case 12:
      return {c.red, c.green, c.blue};
    default:
      return {c.blue, c.green, c.red, 0};
  }
}

/// The three arguments of a gray method drive red, green and blue in this order: Red, Blue, Green.
using Weights = std::array<std::int32_t, 3>;
using Palette = std::optional<std::vector<std::int32_t>>;
using Palettes = std::array<Palette, 3>;

inline std::uint8_t Weigh(std::uint8_t gray, std::int32_t weight) {
  const auto wrapped = static_cast<std::uint32_t>(std::int64_t{gray} * weight);
  const auto product = static_cast<std::int32_t>(wrapped);
  if (product < -255) {
    return 0;
  }
  if (product > 65279) {
    return 255;
  }
  return static_cast<std::uint8_t>(product / 256);
}

inline std::uint8_t LookUp(std::uint8_t gray, const Palette& palette) {
  if (!palette || gray >= palette->size()) {
    return 0;
  }
  const std::int32_t value = (*palette)[gray];
  return static_cast<std::uint8_t>(value < 0 ? 0 : value > 255 ? 255 : value);
}

/// A buffer that is turned into a picture.
struct Buffer {
  std::string layout;  // as in Method::layout
  std::int64_t width, height;
  std::int64_t offset = 0;
  std::int64_t pixelBytes = 0;
  bool flip = false;
  std::optional<Weights> weights;
  std::optional<Palettes> palettes;

  /// The position of the first byte of pixel (x, y), counted from the start of the block.
  std::int64_t Position(std::int64_t x, std::int64_t y) const {
    const std::int64_t row = flip ? height - 1 - y : y;
    return offset + (row * width + x) * pixelBytes;
  }

  /// The bytes of a block that ends right behind the last byte that may be read.
  std::int64_t BlockSize() const {
    const std::int64_t last = std::max(
        {Position(0, 0), Position(width - 1, 0), Position(0, height - 1), Position(width - 1, height - 1)});
    return last + static_cast<std::int64_t>(layout.size());
  }

  Colour At(const std::uint8_t* block, std::int64_t x, std::int64_t y) const {
    const std::uint8_t* s = block + Position(x, y);
    if (layout != "Y") {
      return {s[layout.find('R')], s[layout.find('G')], s[layout.find('B')]};
    }
    const std::uint8_t gray = s[0];
    if (weights) {
      return {Weigh(gray, (*weights)[0]), Weigh(gray, (*weights)[1]), Weigh(gray, (*weights)[2])};
    }
    if (palettes) {
      return {LookUp(gray, (*palettes)[0]), LookUp(gray, (*palettes)[1]), LookUp(gray, (*palettes)[2])};
    }
    return {gray, gray, gray};
  }
};

/// One byte of a pixel that is copied out of a picture; `before` is what it held.
inline std::uint8_t BlockByte(char channel, Colour colour, std::int32_t alpha, Colour mask,
                              std::uint8_t before) {
  switch (channel) {
    case 'R':
      return colour.red;
    case 'G':
      return colour.green;
    case 'B':
      return colour.blue;
    case 'A':
      return static_cast<std::uint8_t>(alpha & 0xFF);
    case 'M':
      return static_cast<std::uint8_t>(255 - mask.green);
    default:
      return before;
  }
}

/// The lines that a copy takes from a picture of `height` lines; none if `last` is below `first`.
struct Lines {
  std::int64_t first, last;
};

inline Lines LinesOf(std::int64_t startLine, std::int64_t endLine, std::int64_t height) {
  if (height < 1) {
    return {0, -1};
  }
  const std::int64_t last = endLine < 0 ? height - 1 : endLine;
  return {startLine < height ? startLine : height - 1, std::min(last, height - 1)};
}

/// Writes a buffer into the top-left corner of the rows of a picture of `pictureWidth` pixels, one behind the
/// other.
inline void Write(const Buffer& buffer, const std::uint8_t* block, int pixelType, std::int64_t pictureWidth,
                  std::vector<std::uint8_t>& picture) {
  for (std::int64_t y = 0; y < buffer.height; ++y) {
    for (std::int64_t x = 0; x < buffer.width; ++x) {
      const auto pixel = PicturePixel(pixelType, buffer.At(block, x, y));
      std::ranges::copy(pixel, picture.begin() + (y * pictureWidth + x) * PixelBytes(pixelType));
    }
  }
}

/// A copy of a picture's pixels into a memory block.
struct BlockCopy {
  std::string layout;  // as in Method::layout, with X for an alpha that is left alone
  std::int64_t width;
  Lines lines;
  std::int64_t offset = 0;
  std::int64_t pixelBytes = 0;
  std::int64_t destRowBytes = 0;
  std::int32_t alpha = 0;

  /// Where pixel x of the `row`th copied row is written, counted from the start of the block.
  std::int64_t Position(std::int64_t x, std::int64_t row) const {
    const std::int64_t packed = width * static_cast<std::int64_t>(layout.size());
    return offset + row * std::max(packed, destRowBytes) + x * pixelBytes;
  }

  /// The bytes of a block that ends right behind the last byte that may be written.
  std::int64_t BlockSize() const {
    std::int64_t last = 0;
    for (const std::int64_t row : {std::int64_t{0}, lines.last - lines.first}) {
      last = std::max({last, Position(0, row), Position(std::max<std::int64_t>(width - 1, 0), row)});
    }
    return last + static_cast<std::int64_t>(layout.size());
  }
};

/// Does a copy. `colourAt` and `maskAt` give what the picture and the mask show at (x, y).
template <typename ColourAt, typename MaskAt>
void Write(const BlockCopy& copy, const ColourAt& colourAt, const MaskAt& maskAt,
           std::vector<std::uint8_t>& block) {
  for (std::int64_t y = copy.lines.first; y <= copy.lines.last; ++y) {
    for (std::int64_t x = 0; x < copy.width; ++x) {
      const std::int64_t position = copy.Position(x, y - copy.lines.first);
      const Colour colour = colourAt(x, y);
      const Colour mask = maskAt(x, y);
      for (std::size_t i = 0; i < copy.layout.size() && position >= 0; ++i) {
        std::uint8_t& byte = block.at(static_cast<std::size_t>(position) + i);
        byte = BlockByte(copy.layout[i], colour, copy.alpha, mask, byte);
      }
    }
  }
}

}  // namespace oracle
