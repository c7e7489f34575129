// The kernel for CPUs that cannot shuffle bytes: one pixel after another. What a conversion is can be read
// here.
#include <algorithm>

#include "pixels/kernel.h"

namespace rastel::pixels {
namespace {

/// A pixel's bytes that are read and the bytes that they are written to, for red, green and blue. Where the
/// destination keeps one channel alone, that one is moved three times.
struct Moves {
  int from[3];
  int to[3];
};

Moves MovesOf(const Channels& from, const Channels& to) {
  Moves moves{{from.red, from.green, from.blue}, {to.red, to.green, to.blue}};
  const auto kept = std::ranges::max_element(moves.to) - moves.to;
  for (int i = 0; i < 3; ++i) {
    if (moves.to[i] == Channels::kAbsent) {
      moves.from[i] = moves.from[kept];
      moves.to[i] = moves.to[kept];
    }
  }
  return moves;
}

/// The byte of a pixel that is no channel.
int RestOf(const Channels& layout) {
  return 6 - layout.red - layout.green - layout.blue;
}

/// One row, whose places are those of its first pixels.
struct Row {
  std::uint8_t* destination;
  const std::uint8_t* source;
  const std::uint8_t* mask;
  std::ptrdiff_t width;
};

/// Reads each channel, changed by `change` (channel, byte), and writes it. All three are read before one is
/// written: the pixel may be converted in place.
template <typename Change>
void MoveChannels(const Plan& plan, const Row& row, Change change) {
  const Moves moves = MovesOf(ChannelsOf(plan.from), ChannelsOf(plan.to));
  const int fromBytes = ChannelsOf(plan.from).bytes;
  const int toBytes = ChannelsOf(plan.to).bytes;
  const std::uint8_t* source = row.source;
  std::uint8_t* destination = row.destination;
  for (std::ptrdiff_t x = 0; x < row.width; ++x) {
    const std::uint8_t red = change(0, source[moves.from[0]]);
    const std::uint8_t green = change(1, source[moves.from[1]]);
    const std::uint8_t blue = change(2, source[moves.from[2]]);
    destination[moves.to[0]] = red;
    destination[moves.to[1]] = green;
    destination[moves.to[2]] = blue;
    source += fromBytes;
    destination += toBytes;
  }
}

void MoveRow(const Plan& plan, const Row& row) {
  switch (plan.stage) {
    case Stage::kNone:
      return MoveChannels(plan, row, [](int, std::uint8_t byte) { return byte; });
    case Stage::kWeights:
      return MoveChannels(plan, row, [weights = *plan.weights](int channel, std::uint8_t gray) {
        return static_cast<std::uint8_t>(std::min(gray * weights.values[channel] >> 8, 255));
      });
    case Stage::kTables:
      return MoveChannels(plan, row, [tables = plan.tables](int channel, std::uint8_t gray) {
        return tables->values[channel][gray];
      });
  }
}

void WriteRest(const Plan& plan, const Row& row) {
  if (ChannelsOf(plan.to).bytes != 4 || plan.rest == Rest::kKept) {
    return;
  }
  const Channels& mask = ChannelsOf(plan.mask);
  std::uint8_t* rest = row.destination + RestOf(ChannelsOf(plan.to));
  for (std::ptrdiff_t x = 0; x < row.width; ++x) {
    rest[4 * x] = plan.rest == Rest::kFill
                      ? plan.fill
                      : static_cast<std::uint8_t>(255 - row.mask[x * mask.bytes + mask.green]);
  }
}

void Run(const Plan& plan, const Rows& rows, bool /*pastCaches*/) {
  for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
    const Row row{rows.destination[y], rows.source[y], rows.mask[y], rows.width};
    MoveRow(plan, row);
    WriteRest(plan, row);
  }
}

}  // namespace

void FindKernel_plain(Plan& plan) {
  plan.run = Run;
}

}  // namespace rastel::pixels
