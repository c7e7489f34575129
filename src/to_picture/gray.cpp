// Gray bytes: as they are, times a weight for each channel, or looked up in an array for each channel.
//
// The first of the three weights or arrays is for red, the second (declared as Blue) for green, the third
// (declared as Green) for blue. Applications rely on it.
#include <algorithm>
#include <array>

#include "host/entries.h"
#include "host/strings.h"
#include "to_picture/frame.h"
#include "to_picture/methods.h"

namespace rastel {
namespace {

/// One argument each for red, green and blue, in the order of the declaration.
template <typename Argument>
using ChannelArguments = std::array<Argument, 3>;

/// True if the product with a gray value fits 32 bits, and the weight, unless it is negative, 15 bits.
bool FitsChannelWeights(std::int32_t weight) {
  constexpr std::int32_t kLowestWithoutWrap = -8421504;
  return weight >= kLowestWithoutWrap && weight <= 32767;
}

/// With a negative weight every gray value becomes 0.
std::uint16_t ChannelWeight(std::int32_t weight) {
  return static_cast<std::uint16_t>(std::max(weight, 0));
}

/// The gray value times `weight`, over 256 and limited to 0 to 255. The product wraps in 32 bits.
std::uint8_t Weighted(std::uint32_t gray, std::int32_t weight) {
  const auto product = static_cast<std::int32_t>(gray * static_cast<std::uint32_t>(weight));
  return static_cast<std::uint8_t>(std::clamp(product / 256, 0, 255));
}

/// Fills `table` with all gray values, weighted.
void FillTable(std::uint8_t (&table)[256], std::int32_t weight) {
  std::uint32_t gray = 0;
  for (std::uint8_t& value : table) {
    value = Weighted(gray++, weight);
  }
}

std::int32_t UpperBound(_REALarrayInteger* array) {
  return array == nullptr ? -1 : REALGetArrayUBound(array);
}

/// Fills `table` with the elements 0 to 255 of `array`, each limited to 0 to 255. Where the array has no more
/// elements, it fills it with 0.
void FillTable(std::uint8_t (&table)[256], _REALarrayInteger* array, std::int32_t upperBound) {
  std::int32_t index = 0;
  for (std::uint8_t& value : table) {
    const std::int32_t element = index <= upperBound ? REALGetArrayInt(array, index) : 0;
    value = static_cast<std::uint8_t>(std::clamp(element, 0, 255));
    ++index;
  }
}

REALpictureStruct* WeightedGrayToPicture(const Buffer& buffer, std::int32_t pixelByteSize,
                                         const ChannelArguments<std::int32_t>& weights) {
  BufferFormat format{.layout = pixels::Layout::kGray, .pixelBytes = pixelByteSize};
  if (std::ranges::all_of(weights, FitsChannelWeights)) {
    const pixels::ChannelWeights fitting{ChannelWeight(weights[0]), ChannelWeight(weights[1]),
                                         ChannelWeight(weights[2])};
    format.weights = &fitting;
    return BufferToPicture(nullptr, buffer, format);
  }
  pixels::ChannelTables tables;
  for (std::size_t channel = 0; channel < 3; ++channel) {
    FillTable(tables.values[channel], weights[channel]);
  }
  format.tables = &tables;
  return BufferToPicture(nullptr, buffer, format);
}

REALpictureStruct* PaletteToPicture(const Buffer& buffer, std::int32_t pixelByteSize,
                                    const ChannelArguments<_REALarrayInteger*>& arrays) {
  if (!CheckBuffer(buffer)) {
    return nullptr;
  }
  // The host is asked for all bounds before any element.
  const std::int32_t bounds[] = {UpperBound(arrays[0]), UpperBound(arrays[1]), UpperBound(arrays[2])};
  pixels::ChannelTables tables;
  for (std::size_t channel = 0; channel < 3; ++channel) {
    FillTable(tables.values[channel], arrays[channel], bounds[channel]);
  }
  return FillPicture(nullptr, buffer,
                     {.layout = pixels::Layout::kGray, .pixelBytes = pixelByteSize, .tables = &tables});
}

}  // namespace

REALpictureStruct* PtrGrayToPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height, std::int32_t pixelByteSize) {
  return BufferToPicture(nullptr, {source, offset, width, height},
                         {.layout = pixels::Layout::kGray, .pixelBytes = pixelByteSize});
}

REALpictureStruct* MemoryblockGrayToPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height,
                                               std::int32_t pixelByteSize) {
  return BufferToPicture(nullptr, {source, offset, width, height},
                         {.layout = pixels::Layout::kGray, .pixelBytes = pixelByteSize});
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
