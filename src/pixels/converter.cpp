#include "pixels/converter.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdlib>
#include <cstring>

#include "pixels/address.h"
#include "pixels/targets.h"

namespace rastel::pixels {
namespace {

/// `layout` with three unused bytes behind its one byte, or itself if that is no layout of one byte.
Layout InFourBytes(Layout layout) {
  switch (layout) {
    case Layout::kGray:
      return Layout::kGrayOf4;
    case Layout::kRed:
      return Layout::kRedOf4;
    case Layout::kGreen:
      return Layout::kGreenOf4;
    case Layout::kBlue:
      return Layout::kBlueOf4;
    default:
      return layout;
  }
}

Stage StageOf(const Conversion& conversion) {
  return conversion.weights != nullptr  ? Stage::kWeights
         : conversion.tables != nullptr ? Stage::kTables
                                        : Stage::kNone;
}

/// Red, green, blue and 0 by the value of a gray byte.
void MakeReadyPixels(const ChannelTables& tables, std::uint8_t (&pixels)[256][4]) {
  std::size_t gray = 0;
  for (auto& pixel : pixels) {
    pixel[0] = tables.values[0][gray];
    pixel[1] = tables.values[1][gray];
    pixel[2] = tables.values[2][gray];
    pixel[3] = 0;
    ++gray;
  }
}

bool IsPlainCopy(const Conversion& conversion) {
  return conversion.from == conversion.to && ChannelsOf(conversion.from).bytes == 3;
}

void CopyRows(const Rows& rows) {
  for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
    std::memmove(rows.destination[y], rows.source[y], static_cast<std::size_t>(rows.width) * 3);
  }
}

/// True if every place begins where `bytes` bytes from the one before end.
template <typename Byte>
bool IsPacked(const Places<Byte>& places, std::ptrdiff_t bytes) {
  return places.table == nullptr && places.step == bytes;
}

template <int Bytes>
void CopyPixels(const Places<std::uint8_t>& to, const Places<const std::uint8_t>& from,
                std::ptrdiff_t count) {
  for (std::ptrdiff_t i = 0; i < count; ++i) {
    std::memcpy(to[i], from[i], Bytes);
  }
}

/// Copies `count` pixels of 1, 3 or 4 bytes one after the other.
void CopyPixels(int bytes, const Places<std::uint8_t>& to, const Places<const std::uint8_t>& from,
                std::ptrdiff_t count) {
  switch (bytes) {
    case 1:
      return CopyPixels<1>(to, from, count);
    case 3:
      return CopyPixels<3>(to, from, count);
    default:
      return CopyPixels<4>(to, from, count);
  }
}

}  // namespace

std::int64_t StreamingThreshold() {
  constexpr long kLeast = 6L << 20;
  constexpr long kMost = 64L << 20;  // the part of a cache that one thread is likely to have for itself
  // Several threads may find it at once: all find the same.
  static constinit std::atomic<long> found = 0;
  long threshold = found.load(std::memory_order_relaxed);
  if (threshold == 0) {
#ifdef _SC_LEVEL3_CACHE_SIZE
    const long cache = sysconf(_SC_LEVEL3_CACHE_SIZE);
#else
    const long cache = kLeast;
#endif
    threshold = std::clamp(cache, kLeast, kMost);
    found.store(threshold, std::memory_order_relaxed);
  }
  return threshold;
}

Converter::Converter(const Conversion& conversion) : Converter(conversion, BestTarget().find) {}

Converter::Converter(const Conversion& conversion, KernelFinder target, std::int64_t threshold)
    : conversion_(conversion), threshold_(threshold), plan_{conversion, StageOf(conversion)} {
  assert(IsPossible(conversion));
  if (conversion.tables != nullptr) {
    MakeReadyPixels(*conversion.tables, readyPixels_);
    plan_.readyPixels = readyPixels_;
  }
  ReadBytesFourApart();
  target(plan_);
}

/// Bytes four apart are read and written as pixels of four, which the kernels know. What lies at other
/// distances they do not.
void Converter::ReadBytesFourApart() {
  const Layout from = conversion_.fromStep == 4 ? InFourBytes(conversion_.from) : conversion_.from;
  const Layout to = conversion_.toStep == 4 ? InFourBytes(conversion_.to) : conversion_.to;
  isApart_ = ChannelsOf(from).bytes != conversion_.fromStep || ChannelsOf(to).bytes != conversion_.toStep;
  if (isApart_) {
    return;
  }
  plan_.isSourceCut = from != conversion_.from;
  plan_.isDestinationCut = to != conversion_.to;
  plan_.from = from;
  plan_.to = to;
  plan_.rest = plan_.isDestinationCut ? Rest::kKept : plan_.rest;
}

void Converter::Convert(const Rows& rows) const {
  if (rows.width == 0) {
    return;
  }
  const Rows joined = Joined(rows);
  if (IsPlainCopy(conversion_)) {
    CopyRows(joined);
  } else if (isApart_) {
    ConvertApart(joined);
  } else {
    RunKernel(joined);
  }
}

/// Packed rows on all sides are one long row.
Rows Converter::Joined(const Rows& rows) const {
  const std::ptrdiff_t maskStep = ChannelsOf(conversion_.mask).bytes;
  Rows joined = rows;
  if (IsPacked(rows.destination, Distance(rows.width, conversion_.toStep)) &&
      IsPacked(rows.source, Distance(rows.width, conversion_.fromStep)) &&
      (conversion_.rest != Rest::kFromMask || IsPacked(rows.mask, Distance(rows.width, maskStep)))) {
    joined.width = rows.width * rows.count;
    joined.count = 1;
  }
  return joined;
}

/// Pixels at any places, through pixels next to each other on the stack. Only masks are next to each other
/// themselves.
void Converter::ConvertApart(const Rows& rows) const {
  constexpr std::ptrdiff_t kBlock = 256;
  const int fromBytes = ChannelsOf(conversion_.from).bytes;
  const int toBytes = ChannelsOf(conversion_.to).bytes;
  const std::ptrdiff_t maskBytes = ChannelsOf(conversion_.mask).bytes;
  std::uint8_t sources[kBlock * 4];
  std::uint8_t destinations[kBlock * 4];
  for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
    for (std::ptrdiff_t x = 0; x < rows.width; x += kBlock) {
      const Places<const std::uint8_t> from{At(rows.source[y], x, conversion_.fromStep),
                                            conversion_.fromStep};
      const Places<std::uint8_t> to{At(rows.destination[y], x, conversion_.toStep), conversion_.toStep};
      const std::ptrdiff_t count = std::min(kBlock, rows.width - x);
      CopyPixels(fromBytes, {sources, fromBytes}, from, count);
      plan_.run(plan_,
                {.destination = {destinations},
                 .source = {sources},
                 .mask = {At(rows.mask[y], x, maskBytes)},
                 .width = count,
                 .count = 1},
                false);
      CopyPixels(toBytes, to, {destinations, toBytes}, count);
    }
  }
}

void Converter::RunKernel(const Rows& rows) const {
  const std::int64_t traffic =
      std::int64_t{rows.width} * rows.count * (conversion_.fromStep + conversion_.toStep);
  const bool pastCaches =
      traffic >= threshold_ && plan_.rest != Rest::kKept && rows.destination.first != rows.source.first;
  plan_.run(plan_, rows, pastCaches);
}

}  // namespace rastel::pixels
