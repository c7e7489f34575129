// The kernel for CPUs that cannot shuffle bytes: one pixel after another. What a conversion is can be read
// here.
#include <algorithm>

#include "pixels/kernel.h"

namespace rastel::pixels {
namespace {

/// One row, whose places are those of its first pixels.
struct Row {
  std::uint8_t* destination;
  const std::uint8_t* source;
  const std::uint8_t* mask;
  std::ptrdiff_t width;
};

// Rows and layouts are passed by value and copied: what is written may be anything that is not a local
// variable, so the compiler would load it again for each pixel.

/// Reads each channel, changed by `change` (channel, byte), writes it, and then the rest of the pixel with
/// `writeRest` (pixel, number). All channels are read before one is written: the pixel may be converted in
/// place.
template <typename Change, typename WriteRest>
void ConvertPixels(const Plan& plan, Row row, Change change, WriteRest writeRest) {
  const Channels from = ChannelsOf(plan.from);
  const Channels to = ChannelsOf(plan.to);
  for (std::ptrdiff_t x = 0; x < row.width; ++x) {
    const std::uint8_t red = change(0, row.source[from.red]);
    const std::uint8_t green = change(1, row.source[from.green]);
    const std::uint8_t blue = change(2, row.source[from.blue]);
    row.destination[to.red] = red;
    row.destination[to.green] = green;
    row.destination[to.blue] = blue;
    writeRest(row.destination, x);
    row.source += from.bytes;
    row.destination += to.bytes;
  }
}

/// Copies the one channel that the destination keeps.
void CopyChannel(const Plan& plan, Row row) {
  const Channels from = ChannelsOf(plan.from);
  const Channels to = ChannelsOf(plan.to);
  const int read = to.red != Channels::kAbsent     ? from.red
                   : to.green != Channels::kAbsent ? from.green
                                                   : from.blue;
  std::uint8_t* destination = row.destination + std::max({to.red, to.green, to.blue});
  const std::uint8_t* source = row.source + read;
  for (std::ptrdiff_t x = 0; x < row.width; ++x) {
    *destination = *source;
    source += from.bytes;
    destination += to.bytes;
  }
}

template <typename Change>
void ConvertWithRest(const Plan& plan, Row row, Change change) {
  const Channels to = ChannelsOf(plan.to);
  if (to.bytes != 4 || plan.rest == Rest::kKept) {
    return ConvertPixels(plan, row, change, [](std::uint8_t*, std::ptrdiff_t) {});
  }
  const int rest = 0 + 1 + 2 + 3 - to.red - to.green - to.blue;
  if (plan.rest == Rest::kFill) {
    return ConvertPixels(plan, row, change, [rest, fill = plan.fill](std::uint8_t* pixel, std::ptrdiff_t) {
      pixel[rest] = fill;
    });
  }
  const Channels mask = ChannelsOf(plan.mask);
  ConvertPixels(
      plan, row, change,
      [rest, bytes = mask.bytes, green = row.mask + mask.green](std::uint8_t* pixel, std::ptrdiff_t x) {
        pixel[rest] = static_cast<std::uint8_t>(255 - green[x * bytes]);
      });
}

void ConvertRow(const Plan& plan, Row row) {
  switch (plan.stage) {
    case Stage::kNone:
      return HasAllChannels(ChannelsOf(plan.to))
                 ? ConvertWithRest(plan, row, [](int, std::uint8_t byte) { return byte; })
                 : CopyChannel(plan, row);
    case Stage::kWeights:
      return ConvertWithRest(plan, row, [weights = *plan.weights](int channel, std::uint8_t gray) {
        return static_cast<std::uint8_t>(std::min(gray * weights.values[channel] >> 8, 255));
      });
    case Stage::kTables:
      return ConvertWithRest(plan, row, [tables = plan.tables](int channel, std::uint8_t gray) {
        return tables->values[channel][gray];
      });
  }
}

void Run(const Plan& plan, const Rows& rows, bool /*pastCaches*/) {
  for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
    ConvertRow(plan, {rows.destination[y], rows.source[y], rows.mask[y], rows.width});
  }
}

}  // namespace

void FindKernel_plain(Plan& plan) {
  plan.run = Run;
}

}  // namespace rastel::pixels
