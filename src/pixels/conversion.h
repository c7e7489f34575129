// What a conversion is: which pixels become which, and where they lie.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pixels/address.h"
#include "pixels/layout.h"

namespace rastel::pixels {

/// What the bytes of a destination pixel get that are no channel.
enum class Rest : unsigned char {
  kFill,      // one value for all pixels
  kKept,      // nothing: the byte keeps what it holds
  kFromMask,  // 255 minus the green of the mask's pixel
};

/// Weights of red, green and blue over 256: 0 to 32767.
struct ChannelWeights {
  std::uint16_t values[3];
};

/// Red, green and blue by the value of a gray byte.
struct ChannelTables {
  std::uint8_t values[3][256];
};

/// How pixels are converted. The pointers are the caller's and must outlive the converter.
struct Conversion {
  Layout from;  // has red, green and blue
  Layout to;    // has one of them or all, in a byte each
  Rest rest = Rest::kFill;
  std::uint8_t fill = 0;                             // with Rest::kFill
  Layout mask = Layout::kRGB;                        // with Rest::kFromMask: of three or four bytes
  std::ptrdiff_t fromStep = ChannelsOf(from).bytes;  // bytes from one pixel to the next; any value for kGray
  std::ptrdiff_t toStep = ChannelsOf(to).bytes;      // likewise; any value for one channel alone
  // At most one of the two is set. `from` is kGray then, and `to` has three channels and, if it has four
  // bytes, Rest::kFill.
  const ChannelWeights* weights = nullptr;
  const ChannelTables* tables = nullptr;
};

/// True if `conversion` is as its fields' comments say.
constexpr bool IsPossible(const Conversion& conversion) {
  const Channels& from = ChannelsOf(conversion.from);
  const Channels& to = ChannelsOf(conversion.to);
  const bool changesGray = conversion.weights != nullptr || conversion.tables != nullptr;
  const bool canChangeGray = conversion.from == Layout::kGray && HasAllChannels(to) &&
                             conversion.rest == Rest::kFill &&
                             (conversion.weights == nullptr || conversion.tables == nullptr);
  const bool hasMask = conversion.rest != Rest::kFromMask || ChannelsOf(conversion.mask).bytes >= 3;
  return HasAllChannels(from) && !IsGray(to) && (!changesGray || canChangeGray) && hasMask;
}

/// `count` rows of `width` pixels each (at least 0), any distance apart.
struct Rows {
  Places<std::uint8_t> destination;
  Places<const std::uint8_t> source;
  Places<const std::uint8_t> mask;  // with Rest::kFromMask
  std::ptrdiff_t width;
  std::ptrdiff_t count;
};

}  // namespace rastel::pixels
