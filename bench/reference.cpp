#include "bench/reference.h"

#include <algorithm>

namespace bench {

using namespace rastel::pixels;

namespace {

std::uint8_t ColourOf(const Conversion& conversion, int channel, std::uint8_t value) {
  if (conversion.tables != nullptr) {
    return conversion.tables->values[channel][value];
  }
  if (conversion.weights != nullptr) {
    return static_cast<std::uint8_t>(std::min(255, value * conversion.weights->values[channel] / 256));
  }
  return value;
}

}  // namespace

void ConvertPlainly(const Conversion& conversion, const Rows& rows) {
  const Channels from = ChannelsOf(conversion.from);
  const Channels to = ChannelsOf(conversion.to);
  const Channels mask = ChannelsOf(conversion.mask);
  const int sources[3] = {from.red, from.green, from.blue};
  const int destinations[3] = {to.red, to.green, to.blue};
  const int alpha = 6 - to.red - to.green - to.blue;  // with four bytes
  for (std::ptrdiff_t x = 0; x < rows.width; ++x) {
    const std::uint8_t* source = rows.source.first + x * conversion.fromStep;
    std::uint8_t* destination = rows.destination.first + x * conversion.toStep;
    for (int channel = 0; channel < 3; ++channel) {
      if (destinations[channel] >= 0) {
        destination[destinations[channel]] = ColourOf(conversion, channel, source[sources[channel]]);
      }
    }
    if (to.bytes == 4 && conversion.rest == Rest::kFill) {
      destination[alpha] = conversion.fill;
    } else if (to.bytes == 4 && conversion.rest == Rest::kFromMask) {
      destination[alpha] = static_cast<std::uint8_t>(255 - rows.mask.first[x * mask.bytes + mask.green]);
    }
  }
}

bool IsChannel(const Conversion& conversion, std::ptrdiff_t offset) {
  const Channels& to = ChannelsOf(conversion.to);
  const auto byte = static_cast<int>(offset % conversion.toStep);
  return byte == to.red || byte == to.green || byte == to.blue;
}

}  // namespace bench
