// What is to be done in one case, in words that no library has of its own.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "devhost/oracle.h"

namespace bench {

/// Pixels in rows. The letters of `layout` are those of devhost/oracle.h; of a source, A is not read.
template <typename Byte>
struct Side {
  Byte* first = nullptr;
  int rowStep = 0;  // bytes from row to row
  std::string layout;

  int bytes() const { return static_cast<int>(layout.size()); }  // of one pixel
  Byte* At(int x, int y) const { return first + std::ptrdiff_t{y} * rowStep + std::ptrdiff_t{x} * bytes(); }
};

struct Task {
  Side<const std::uint8_t> source;
  Side<std::uint8_t> destination;
  Side<const std::uint8_t> mask;  // without a layout if there is none
  int width = 0;
  int height = 0;
  std::optional<oracle::Weights> weights;    // of gray
  std::optional<oracle::Palettes> palettes;  // by gray value, 256 elements each

  bool HasMask() const { return !mask.layout.empty(); }
  bool IsLookedUp() const { return weights || palettes; }
  /// All that is written is a channel, taken as it is, or a constant.
  bool IsPlain() const {
    return !IsLookedUp() && !HasMask() && destination.layout.find('X') == std::string::npos;
  }
  /// "RGB to RGBA": what goes where.
  std::string Layouts() const { return source.layout + " to " + destination.layout; }

  /// Red, green or blue (0 to 2) of gray `value`.
  std::uint8_t LookUp(std::size_t channel, std::uint8_t value) const {
    return weights ? oracle::Weigh(value, (*weights)[channel]) : oracle::LookUp(value, (*palettes)[channel]);
  }

  /// What is to be written for pixel (x, y).
  oracle::Colour ColourAt(int x, int y) const {
    const std::uint8_t* pixel = source.At(x, y);
    if (IsLookedUp()) {
      return {LookUp(0, *pixel), LookUp(1, *pixel), LookUp(2, *pixel)};
    }
    return source.layout.starts_with('Y') ? oracle::ReadPixel("Y", pixel)
                                          : oracle::ReadPixel(source.layout, pixel);
  }
  oracle::Colour MaskAt(int x, int y) const {
    return HasMask() ? oracle::ReadPixel(mask.layout, mask.At(x, y)) : oracle::Colour{};
  }

  double Traffic() const {  // bytes
    return static_cast<double>(source.bytes() + destination.bytes() + mask.bytes()) * width * height;
  }
};

}  // namespace bench
