// Pixel layouts: where the channels sit in a pixel's bytes. Kernels include this file: see address.h.
#pragma once

#include <cstddef>

namespace rastel::pixels {

/// The layouts by name, in the order of kLayouts.
enum class Layout : unsigned char {
  kRGB,
  kBGR,
  kARGB,
  kABGR,
  kRGBA,
  kBGRA,
  kGray,  // red, green and blue are the same byte
  kRed,   // one channel alone
  kGreen,
  kBlue,
  kGrayOf4,  // the same as the first of four bytes
  kRedOf4,
  kGreenOf4,
  kBlueOf4,
};

/// Where a pixel's channels are, as offsets from the pixel's first byte. Bytes of which none is a channel are
/// alpha or padding.
struct Channels {
  static constexpr int kAbsent = -1;

  int bytes;  // of one pixel
  int red;
  int green;
  int blue;
};

constexpr Channels kLayouts[] = {
    {3, 0, 1, 2},                                  // kRGB
    {3, 2, 1, 0},                                  // kBGR
    {4, 1, 2, 3},                                  // kARGB
    {4, 3, 2, 1},                                  // kABGR
    {4, 0, 1, 2},                                  // kRGBA
    {4, 2, 1, 0},                                  // kBGRA
    {1, 0, 0, 0},                                  // kGray
    {1, 0, Channels::kAbsent, Channels::kAbsent},  // kRed
    {1, Channels::kAbsent, 0, Channels::kAbsent},  // kGreen
    {1, Channels::kAbsent, Channels::kAbsent, 0},  // kBlue
    {4, 0, 0, 0},                                  // kGrayOf4
    {4, 0, Channels::kAbsent, Channels::kAbsent},  // kRedOf4
    {4, Channels::kAbsent, 0, Channels::kAbsent},  // kGreenOf4
    {4, Channels::kAbsent, Channels::kAbsent, 0},  // kBlueOf4
};

constexpr std::size_t kLayoutCount = sizeof kLayouts / sizeof kLayouts[0];

[[gnu::always_inline]] constexpr const Channels& ChannelsOf(Layout layout) {
  return kLayouts[static_cast<std::size_t>(layout)];
}

/// True if a pixel has red, green and blue, be they the same byte.
[[gnu::always_inline]] constexpr bool HasAllChannels(const Channels& channels) {
  return channels.red != Channels::kAbsent && channels.green != Channels::kAbsent &&
         channels.blue != Channels::kAbsent;
}

/// True if several channels are the same byte: that can be read, but not written.
[[gnu::always_inline]] constexpr bool IsGray(const Channels& channels) {
  return HasAllChannels(channels) && channels.red == channels.green;
}

}  // namespace rastel::pixels
