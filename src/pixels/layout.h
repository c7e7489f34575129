// Pixel layouts: where the channels sit in a pixel's bytes.
#pragma once

namespace rastel::pixels {

/// Where a pixel's channels are, as offsets from the pixel's first byte. A layout need not have all channels
/// (one channel alone), and several may share a byte (gray).
struct Layout {
  static constexpr int kAbsent = -1;

  int bytes;  // of one pixel
  int red;
  int green;
  int blue;

  bool operator==(const Layout&) const = default;
};

inline constexpr Layout kRGB{3, 0, 1, 2};
inline constexpr Layout kBGR{3, 2, 1, 0};
// The byte of four that no channel takes is alpha or padding.
inline constexpr Layout kARGB{4, 1, 2, 3};
inline constexpr Layout kABGR{4, 3, 2, 1};
inline constexpr Layout kRGBA{4, 0, 1, 2};
inline constexpr Layout kBGRA{4, 2, 1, 0};
inline constexpr Layout kGray{1, 0, 0, 0};
inline constexpr Layout kRed{1, 0, Layout::kAbsent, Layout::kAbsent};
inline constexpr Layout kGreen{1, Layout::kAbsent, 0, Layout::kAbsent};
inline constexpr Layout kBlue{1, Layout::kAbsent, Layout::kAbsent, 0};

}  // namespace rastel::pixels
