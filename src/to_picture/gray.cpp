// Gray samples: plain, weighted by channel, or looked up in palette arrays.
//
// The arguments drive the channels in their order: the first red, the second (named Blue) green, the third
// (named Green) blue. Hosts have always had it so.
#include <algorithm>
#include <array>

#include "host/entries.h"
#include "host/strings.h"
#include "to_picture/frame.h"
#include "to_picture/methods.h"

namespace rastel {
namespace {

using ChannelTable = std::array<std::uint8_t, 256>;

/// A gray value times `weight` over 256, truncated and clamped. The product wraps in 32 bits.
std::uint8_t Weighted(std::uint32_t gray, std::int32_t weight) {
  const auto product = static_cast<std::int32_t>(gray * static_cast<std::uint32_t>(weight));
  return static_cast<std::uint8_t>(std::clamp(product / 256, 0, 255));
}

ChannelTable WeightTable(std::int32_t weight) {
  ChannelTable table{};
  for (std::uint32_t gray = 0; gray < table.size(); ++gray) {
    table[gray] = Weighted(gray, weight);
  }
  return table;
}

std::int32_t UpperBound(_REALarrayInteger* array) {
  return array == nullptr ? -1 : REALGetArrayUBound(array);
}

/// The elements 0 to 255 of `array` as far as it goes, clamped to bytes; 0 beyond. Further elements have no
/// gray value and are not read.
ChannelTable PaletteTable(_REALarrayInteger* array, std::int32_t upperBound) {
  ChannelTable table{};
  const std::int32_t last = std::min(upperBound, 255);
  for (std::int32_t index = 0; index <= last; ++index) {
    table[static_cast<std::size_t>(index)] =
        static_cast<std::uint8_t>(std::clamp(REALGetArrayInt(array, index), 0, 255));
  }
  return table;
}

/// One argument for each channel, in the order of the declaration.
template <typename Argument>
struct ChannelArguments {
  Argument red;
  Argument green;  // declared as Blue
  Argument blue;   // declared as Green
};

REALpictureStruct* LookedUpGrayToPicture(const Buffer& buffer, std::int32_t pixelByteSize,
                                         const pixels::ChannelTables& tables) {
  return FillPicture(nullptr, buffer,
                     {.layout = pixels::kGray, .pixelBytes = pixelByteSize, .tables = &tables});
}

REALpictureStruct* WeightedGrayToPicture(const Buffer& buffer, std::int32_t pixelByteSize,
                                         const ChannelArguments<std::int32_t>& weights) {
  if (!CheckBuffer(buffer)) {
    return nullptr;
  }
  return LookedUpGrayToPicture(
      buffer, pixelByteSize,
      {WeightTable(weights.red), WeightTable(weights.green), WeightTable(weights.blue)});
}

REALpictureStruct* PaletteToPicture(const Buffer& buffer, std::int32_t pixelByteSize,
                                    const ChannelArguments<_REALarrayInteger*>& arrays) {
  if (!CheckBuffer(buffer)) {
    return nullptr;
  }
  // All bounds are asked for before any element.
  const std::int32_t red = UpperBound(arrays.red);
  const std::int32_t green = UpperBound(arrays.green);
  const std::int32_t blue = UpperBound(arrays.blue);
  return LookedUpGrayToPicture(
      buffer, pixelByteSize,
      {PaletteTable(arrays.red, red), PaletteTable(arrays.green, green), PaletteTable(arrays.blue, blue)});
}

}  // namespace

REALpictureStruct* PtrGrayToPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height, std::int32_t pixelByteSize) {
  return BufferToPicture(nullptr, {source, offset, width, height},
                         {.layout = pixels::kGray, .pixelBytes = pixelByteSize});
}

REALpictureStruct* MemoryblockGrayToPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height,
                                               std::int32_t pixelByteSize) {
  return BufferToPicture(nullptr, {source, offset, width, height},
                         {.layout = pixels::kGray, .pixelBytes = pixelByteSize});
}

REALpictureStruct* PtrGrayToPictureRGBKVZ(void* source, std::int32_t offset, std::int32_t width,
                                          std::int32_t height, std::int32_t pixelByteSize, std::int32_t red,
                                          std::int32_t blue, std::int32_t green) {
  return WeightedGrayToPicture({source, offset, width, height}, pixelByteSize, {red, blue, green});
}

REALpictureStruct* MemoryblockGrayToPictureRGBKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                                  std::int32_t width, std::int32_t height,
                                                  std::int32_t pixelByteSize, std::int32_t red,
                                                  std::int32_t blue, std::int32_t green) {
  return WeightedGrayToPicture({source, offset, width, height}, pixelByteSize, {red, blue, green});
}

REALpictureStruct* PtrGrayToPicturePalKVZ(void* source, std::int32_t offset, std::int32_t width,
                                          std::int32_t height, std::int32_t pixelByteSize,
                                          _REALarrayInteger* red, _REALarrayInteger* blue,
                                          _REALarrayInteger* green) {
  return PaletteToPicture({source, offset, width, height}, pixelByteSize, {red, blue, green});
}

REALpictureStruct* MemoryblockGrayToPicturePalKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                                  std::int32_t width, std::int32_t height,
                                                  std::int32_t pixelByteSize, _REALarrayInteger* red,
                                                  _REALarrayInteger* blue, _REALarrayInteger* green) {
  return PaletteToPicture({source, offset, width, height}, pixelByteSize, {red, blue, green});
}

}  // namespace rastel
