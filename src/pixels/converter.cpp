#include "pixels/converter.h"

#include <unistd.h>

#include <algorithm>
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

/// From how many bytes read and written on the destination bypasses the caches: as many as the last cache
/// holds, as far as the system says, since then neither side would stay in it.
std::ptrdiff_t StreamingThreshold() {
  constexpr long kLeast = 6L << 20;
  constexpr long kMost = 64L << 20;  // the part of a cache that one thread is likely to have for itself
  static std::ptrdiff_t threshold = 0;
  if (threshold == 0) {
#ifdef _SC_LEVEL3_CACHE_SIZE
    const long cache = sysconf(_SC_LEVEL3_CACHE_SIZE);
#else
    const long cache = kLeast;
#endif
    threshold = std::clamp(cache, kLeast, kMost);
  }
  return threshold;
}

}  // namespace

Converter::Converter(const Conversion& conversion) : Converter(conversion, BestTarget().find) {}

Converter::Converter(const Conversion& conversion, KernelFinder target) : conversion_(conversion) {
  plan_.fill = conversion.fill;
  plan_.tables = conversion.tables;
  plan_.readyPixels = readyPixels_;
  if (conversion.weights != nullptr) {
    std::ranges::copy(conversion.weights->values, plan_.weights);
  }
  if (conversion.tables != nullptr) {
    const auto& values = conversion.tables->values;
    for (std::size_t gray = 0; gray < 256; ++gray) {
      readyPixels_[gray][0] = values[0][gray];
      readyPixels_[gray][1] = values[1][gray];
      readyPixels_[gray][2] = values[2][gray];
      readyPixels_[gray][3] = 0;
    }
  }
  KernelRequest request{conversion.from, conversion.to, conversion.rest, conversion.mask,
                        StageOf(conversion)};
  stepped_ = plan_;
  target(request, plan_);
  const bool isChannel = InFourBytes(conversion.to) != conversion.to;
  request.from = conversion.fromStep == 4 ? InFourBytes(conversion.from) : conversion.from;
  request.to = conversion.toStep == 4 ? InFourBytes(conversion.to) : conversion.to;
  request.rest = isChannel ? Rest::kKept : conversion.rest;
  if (request.from != conversion.from || request.to != conversion.to) {
    target(request, stepped_);
  }
}

void Converter::Convert(const Rows& rows) const {
  if (rows.width == 0) {
    return;
  }
  const Rows joined = Joined(rows);
  if (IsPlainCopy(conversion_)) {
    CopyRows(joined);
  } else if (conversion_.fromStep == ChannelsOf(conversion_.from).bytes &&
             conversion_.toStep == ChannelsOf(conversion_.to).bytes) {
    RunKernel(joined);
  } else {
    ConvertStepped(joined);
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

/// Rows of pixels that are not next to each other. Four bytes apart the kernel does all but the last pixel of
/// each row: that one ends with its one byte. The last pixels of all rows are a row themselves, if the rows'
/// order does not matter.
void Converter::ConvertStepped(const Rows& rows) const {
  const std::ptrdiff_t rowBytes = Distance(rows.width, conversion_.toStep);
  const bool areRowsApart =
      rows.count == 1 || rows.destination.table != nullptr || std::abs(rows.destination.step) >= rowBytes;
  if (stepped_.run == nullptr || rows.width < 2 || !areRowsApart || conversion_.rest == Rest::kFromMask) {
    for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
      ConvertApart({.destination = {rows.destination[y], conversion_.toStep},
                    .source = {rows.source[y], conversion_.fromStep},
                    .mask = {rows.mask[y], ChannelsOf(conversion_.mask).bytes},
                    .count = rows.width});
    }
    return;
  }
  const std::ptrdiff_t last = rows.width - 1;
  Rows front = rows;
  front.width = last;
  stepped_.run(stepped_, front, false);
  ConvertApart({.destination = rows.destination.Behind(last, conversion_.toStep),
                .source = rows.source.Behind(last, conversion_.fromStep),
                .count = rows.count});
}

/// `pixels.count` pixels at any places, through pixels next to each other on the stack. Only masks are next
/// to each other themselves.
void Converter::ConvertApart(const Rows& pixels) const {
  constexpr std::ptrdiff_t kBlock = 256;
  const int fromBytes = ChannelsOf(conversion_.from).bytes;
  const int toBytes = ChannelsOf(conversion_.to).bytes;
  std::uint8_t sources[kBlock * 4];
  std::uint8_t destinations[kBlock * 4];
  for (std::ptrdiff_t x = 0; x < pixels.count; x += kBlock) {
    const auto from = pixels.source.From(x);
    const auto to = pixels.destination.From(x);
    Rows block{.destination = {destinations},
               .source = {sources},
               .mask = pixels.mask.From(x),
               .width = std::min(kBlock, pixels.count - x),
               .count = 1};
    if (IsPacked(from, fromBytes)) {
      block.source = from;
    } else {
      CopyPixels(fromBytes, {sources, fromBytes}, from, block.width);
    }
    if (IsPacked(to, toBytes)) {
      block.destination = to;
      plan_.run(plan_, block, false);
    } else {
      plan_.run(plan_, block, false);
      CopyPixels(toBytes, to, {destinations, toBytes}, block.width);
    }
  }
}

void Converter::RunKernel(const Rows& rows) const {
  const int bytes = ChannelsOf(conversion_.from).bytes + ChannelsOf(conversion_.to).bytes;
  const std::int64_t traffic = std::int64_t{rows.width} * rows.count * bytes;
  const bool stream = traffic >= StreamingThreshold() && conversion_.rest != Rest::kKept &&
                      rows.destination.first != rows.source.first;
  plan_.run(plan_, rows, stream);
}

}  // namespace rastel::pixels
