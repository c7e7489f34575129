// What every method has to write, pixel by pixel: the one reference, which shares nothing with the plug-in.
//
// A layout is a text with a letter for each byte of a pixel:
//   R, G, B  a colour      Y  gray: all three colours in one byte      A  the alpha of the call
//   M  the alpha of the mask's pixel: its green, inverted              X  a byte that is left alone
// So CopyRGBXtoMemoryblockKVZ, whose layout is "RGBX", writes red, green and blue of each pixel of the
// picture, and every fourth byte of the block stays as it was.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace oracle {

/// The layout that a method's name says: "RGBX" for CopyRGBXtoMemoryblockKVZ, "Y" for PtrGrayToPictureKVZ.
inline std::string LayoutNamed(std::string_view method) {
  for (const std::string_view prefix : {"Copy", "Ptr", "Memoryblock"}) {
    if (method.starts_with(prefix)) {
      method.remove_prefix(prefix.size());
      break;
    }
  }
  const std::string_view letters = method.substr(0, std::min(method.find("to"), method.find("To")));
  return letters == "Gray" ? "Y" : std::string(letters);
}

struct Colour {
  std::uint8_t red, green, blue;
  bool operator==(const Colour&) const = default;
};

/// The byte of a pixel that has the letter; 0 if none has.
inline std::uint8_t ByteOf(std::string_view layout, char letter, const std::uint8_t* pixel) {
  for (const char each : layout) {
    if (each == letter) {
      return *pixel;
    }
    ++pixel;
  }
  return 0;
}

inline Colour ReadPixel(std::string_view layout, const std::uint8_t* pixel) {
  if (layout == "Y") {
    return {pixel[0], pixel[0], pixel[0]};
  }
  return {ByteOf(layout, 'R', pixel), ByteOf(layout, 'G', pixel), ByteOf(layout, 'B', pixel)};
}

/// The byte that a letter stands for; `before` is what was there.
inline std::uint8_t ByteFor(char letter, Colour colour, std::uint8_t alpha, Colour mask,
                            std::uint8_t before) {
  switch (letter) {
    case 'R':
      return colour.red;
    case 'G':
      return colour.green;
    case 'B':
      return colour.blue;
    case 'A':
      return alpha;
    case 'M':
      return static_cast<std::uint8_t>(255 - mask.green);
    default:
      return before;
  }
}

inline void WritePixel(std::string_view layout, Colour colour, std::uint8_t alpha, Colour mask,
                       std::uint8_t* pixel) {
  for (std::size_t i = 0; i < layout.size(); ++i) {
    pixel[i] = ByteFor(layout[i], colour, alpha, mask, pixel[i]);
  }
}

/// How pictures of a pixel type hold their pixels, and what the methods write for A there.
inline std::string_view PictureLayout(int pixelType) {
  return pixelType == 13 ? "ARGB" : pixelType == 12 ? "RGB" : "BGRA";
}
inline std::uint8_t PictureAlpha(int pixelType) {
  return pixelType == 13 ? 255 : 0;
}

/// What a gray method multiplies a gray value with, over 256; for red, green and blue.
using Weights = std::array<std::int32_t, 3>;

/// What a gray method looks a gray value up in; nothing: nil was passed.
using Palette = std::optional<std::vector<std::int32_t>>;
using Palettes = std::array<Palette, 3>;

/// The product wraps as 32 bits do, and is divided before it is clamped.
inline std::uint8_t Weigh(std::uint8_t gray, std::int32_t weight) {
  const auto wrapped = static_cast<std::uint32_t>(std::int64_t{gray} * weight);
  return static_cast<std::uint8_t>(std::clamp(static_cast<std::int32_t>(wrapped) / 256, 0, 255));
}

inline std::uint8_t LookUp(std::uint8_t gray, const Palette& palette) {
  const bool hasElement = palette && gray < palette->size();
  return static_cast<std::uint8_t>(hasElement ? std::clamp((*palette)[gray], 0, 255) : 0);
}

/// Pixels, row by row.
struct Image {
  std::int64_t width = 0, height = 0;
  std::vector<Colour> pixels = {};

  /// A copy that is larger than the picture sees black right of it, and its first row below it.
  Colour Shown(std::int64_t x, std::int64_t y) const {
    if (x >= width) {
      return {0, 0, 0};
    }
    return pixels[static_cast<std::size_t>((y < height ? y : 0) * width + x)];
  }
};

/// A buffer that is turned into a picture.
struct Buffer {
  std::string layout;
  std::int64_t width = 0, height = 0;
  std::int64_t offset = 0;
  std::int64_t pixelBytes = 0;  // from one pixel to the next, forwards or backwards
  bool flip = false;
  std::optional<Weights> weights = {};
  std::optional<Palettes> palettes = {};

  /// Where pixel (x, y) of the picture begins, counted from the start of the block.
  std::int64_t Position(std::int64_t x, std::int64_t y) const {
    const std::int64_t row = flip ? height - 1 - y : y;
    return offset + (row * width + x) * pixelBytes;
  }

  /// The bytes of a block that ends right behind the last byte that may be read.
  std::int64_t BlockSize() const {
    const auto last = std::max(
        {Position(0, 0), Position(width - 1, 0), Position(0, height - 1), Position(width - 1, height - 1)});
    return last + static_cast<std::int64_t>(layout.size());
  }

  Colour At(const std::uint8_t* block, std::int64_t x, std::int64_t y) const {
    Colour colour = ReadPixel(layout, block + Position(x, y));
    if (weights) {
      colour = {Weigh(colour.red, (*weights)[0]), Weigh(colour.green, (*weights)[1]),
                Weigh(colour.blue, (*weights)[2])};
    }
    if (palettes) {
      colour = {LookUp(colour.red, (*palettes)[0]), LookUp(colour.green, (*palettes)[1]),
                LookUp(colour.blue, (*palettes)[2])};
    }
    return colour;
  }
};

/// Writes a buffer into the top-left corner of a picture of `pictureWidth` pixels, whose rows are one behind
/// the other.
inline void Write(const Buffer& buffer, const std::uint8_t* block, int pixelType, std::int64_t pictureWidth,
                  std::vector<std::uint8_t>& picture) {
  const std::string_view layout = PictureLayout(pixelType);
  for (std::int64_t y = 0; y < buffer.height; ++y) {
    for (std::int64_t x = 0; x < buffer.width; ++x) {
      const auto position = static_cast<std::size_t>(y * pictureWidth + x) * layout.size();
      WritePixel(layout, buffer.At(block, x, y), PictureAlpha(pixelType), {}, &picture.at(position));
    }
  }
}

/// The lines that a copy takes of a picture; none if `last` is below `first`.
struct Lines {
  std::int64_t first, last;
};

inline Lines LinesOf(std::int64_t startLine, std::int64_t endLine, std::int64_t height) {
  if (height < 1) {
    return {0, -1};
  }
  const std::int64_t last = endLine < 0 ? height - 1 : endLine;
  return {std::min(startLine, height - 1), std::min(last, height - 1)};
}

/// A copy of a picture's pixels into a memory block.
struct Copy {
  std::string layout;
  std::int64_t width = 0;
  Lines lines = {};
  std::int64_t offset = 0;
  std::int64_t pixelBytes = 0;    // from one pixel to the next, forwards or backwards
  std::int64_t destRowBytes = 0;  // from one row to the next, if that is more than a packed row
  std::uint8_t alpha = 0;

  /// Where pixel x of the `row`th copied row is written, counted from the start of the block. Below 0:
  /// nowhere.
  std::int64_t Position(std::int64_t x, std::int64_t row) const {
    const std::int64_t packed = width * static_cast<std::int64_t>(layout.size());
    return offset + row * std::max(packed, destRowBytes) + x * pixelBytes;
  }

  /// The bytes of a block that ends right behind the last byte that may be written.
  std::int64_t BlockSize() const {
    const std::int64_t right = std::max<std::int64_t>(width - 1, 0);
    const std::int64_t bottom = lines.last - lines.first;
    const auto last = std::max(
        {std::int64_t{0}, Position(0, 0), Position(right, 0), Position(0, bottom), Position(right, bottom)});
    return last + static_cast<std::int64_t>(layout.size());
  }
};

/// Does a copy of `picture`, with `mask` where the layout has an M. `byteAt` gives the byte at a position of
/// the block, to be changed.
template <typename ByteAt>
void Write(const Copy& copy, const Image& picture, const Image& mask, const ByteAt& byteAt) {
  const bool hasMask = copy.layout.find('M') != std::string::npos;
  for (std::int64_t y = copy.lines.first; y <= copy.lines.last; ++y) {
    for (std::int64_t x = 0; x < copy.width; ++x) {
      std::int64_t position = copy.Position(x, y - copy.lines.first);
      if (position < 0) {
        continue;
      }
      const Colour colour = picture.Shown(x, y);
      const Colour maskColour = hasMask ? mask.Shown(x, y) : Colour{};
      for (const char letter : copy.layout) {
        std::uint8_t& byte = byteAt(position++);
        byte = ByteFor(letter, colour, copy.alpha, maskColour, byte);
      }
    }
  }
}

}  // namespace oracle
