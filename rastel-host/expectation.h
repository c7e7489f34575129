// What a picture and a buffer must hold after a conversion, to be held against what the plug-in did.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devhost/oracle.h"
#include "rastel-host/image.h"
#include "rastel-host/layout.h"
#include "rastel-host/text.h"

namespace devhost::program {

/// What a picture shows after `shown`, the image in the buffer, was written to it: the fourth byte of each
/// pixel is `fourth`. With `destination`, which must be large enough, the pixels beyond `shown` keep what it
/// holds.
Image ExpectedPicture(const Image& shown, bool flip, std::uint8_t fourth, const Image* destination);

/// How a picture is copied to a buffer.
struct CopyBack {
  Band band{0, -1};                   // as the method takes it
  std::int32_t stride = 0;            // likewise: at least a packed row is used
  std::optional<std::uint8_t> alpha;  // for layouts with alpha, if there is no mask
  const Image* mask = nullptr;        // its green, inverted, is the alpha; its size is the copy's
};

/// The shape of the buffer that a copy fills.
struct BufferShape {
  std::int32_t width = 0;   // pixels of a row
  std::int32_t first = 0;   // first picture row
  std::int32_t rows = 0;    // at least 1 if the copy's first row is not after its last
  std::int64_t stride = 0;  // bytes from one row to the next

  std::int64_t Bytes() const { return stride * rows; }
};

/// `size` is the copy's.
BufferShape ShapeOf(Size size, const Layout& layout, const Band& band, std::int32_t stride);

/// What a buffer filled with `untouched` holds after `picture` was copied into it.
std::vector<std::uint8_t> ExpectedBuffer(const Image& picture, const Layout& layout, const CopyBack& copy,
                                         std::uint8_t untouched);

/// The three channels that a gray value is turned into, by a weight or an array for each: the value times the
/// weight over 256, or the element at the value.
Rgba Weighted(std::uint8_t gray, const oracle::Weights& weights);
Rgba LookedUp(std::uint8_t gray, const oracle::Palettes& palettes);

/// How two images of one size differ.
struct ImageDifference {
  std::int64_t count = 0;     // pixels that differ
  int most = 0;               // the largest difference in one channel
  std::int32_t x = 0, y = 0;  // the first of them
  std::string_view channel;   // its first channel that differs
  int expected = 0, got = 0;  // that channel's values
  Image picture;              // opaque: each channel's difference; black where there is none

  std::string Text() const;  // "pixel (3, 0) red: expected 10, got 11; 12 of 400 pixels differ, by at most 7"
};

/// Alphas count as well. Nothing if the images are equal.
std::optional<ImageDifference> Compare(const Image& expected, const Image& got);

/// Where two buffers of one size first differ: "pixel (3, 0) red: expected 10, got 11". Nothing if they do
/// not.
std::optional<std::string> FirstDifference(const std::vector<std::uint8_t>& expected,
                                           const std::vector<std::uint8_t>& got, const BufferShape& shape,
                                           const Layout& layout);

}  // namespace devhost::program
