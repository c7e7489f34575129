#include "rastel-host/verify.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "rastel-host/session.h"

namespace devhost::program {
namespace {

using Bytes = std::vector<std::uint8_t>;

oracle::Image Colours(const Image& image) {
  oracle::Image colours{.width = image.width, .height = image.height};
  for (const Pixel& pixel : image.pixels) {
    colours.pixels.push_back({pixel.red, pixel.green, pixel.blue});
  }
  return colours;
}

/// `rows` tells where the bytes' pixels lie.
std::string FirstDifference(const Bytes& expected, const Bytes& found, const oracle::Copy& rows) {
  if (expected.size() != found.size()) {
    return "expected " + std::to_string(expected.size()) + " bytes, found " + std::to_string(found.size());
  }
  const auto [should, is] = std::ranges::mismatch(expected, found);
  if (is == found.end()) {
    return "";
  }
  const std::int64_t index = is - found.begin();
  std::string place = "byte " + std::to_string(index);
  if (index >= rows.offset) {
    const std::int64_t row = (index - rows.offset) / rows.destRowBytes;
    const auto inRow = static_cast<std::size_t>((index - rows.offset) % rows.destRowBytes);
    place += " (row " + std::to_string(row) + ", pixel " + std::to_string(inRow / rows.layout.size()) + ", " +
             rows.layout[inRow % rows.layout.size()] + " of " + rows.layout + ")";
  }
  return place + ": expected " + std::to_string(*should) + ", found " + std::to_string(*is);
}

}  // namespace

std::string PictureDifference(const oracle::Buffer& pixels, const REALmemoryBlockStruct& block, int pixelType,
                              const REALpictureStruct& picture) {
  const std::string layout(oracle::PictureLayout(pixelType));
  const auto rowBytes = static_cast<std::size_t>(pixels.width) * layout.size();
  Bytes expected(rowBytes * static_cast<std::size_t>(pixels.height)), found;
  oracle::Write(pixels, block.bytes(), pixelType, pixels.width, expected);
  for (std::int32_t y = 0; y < picture.height; ++y) {
    found.insert(found.end(), picture.Row(y), picture.Row(y) + picture.RowLength());
  }
  return FirstDifference(expected, found,
                         {.layout = layout, .destRowBytes = static_cast<std::int64_t>(rowBytes)});
}

std::string BlockDifference(const oracle::Copy& copy, REALpictureStruct& picture, const Image& mask,
                            const REALmemoryBlockStruct& block) {
  Bytes expected(static_cast<std::size_t>(block.size), kUntouched);
  oracle::Write(copy, Colours(ImageOf(picture)), Colours(mask), [&](std::int64_t index) -> std::uint8_t& {
    return expected[static_cast<std::size_t>(index)];
  });
  return FirstDifference(expected, {block.bytes(), block.bytes() + block.size}, copy);
}

}  // namespace devhost::program
