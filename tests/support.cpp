#include "support.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <ostream>
#include <stdexcept>

#include "figures.h"

namespace devhost {

std::ostream& operator<<(std::ostream& stream, const Balance& balance) {
  return stream << balance.objects << " objects, " << balance.references << " references, "
                << balance.descriptionLocks << " description locks, " << balance.pixelLocks
                << " pixel locks, " << balance.strayUnlocks << " stray unlocks";
}

}  // namespace devhost

namespace tests {

using devhost::PixelFormat;

int PixelTypeOf(PixelFormat format) {
  return format == PixelFormat::kWorld32   ? 13
         : format == PixelFormat::kWorld24 ? 12
         : format == PixelFormat::kBitmap  ? 8
                                           : 0;
}

oracle::Colour ColourAt(REALpictureStruct& picture, std::int32_t x, std::int32_t y) {
  const int pixelType = PixelTypeOf(picture.format);
  if (pixelType == 0) {
    const devhost::Pixel pixel = picture.At(x, y);
    return {pixel.red, pixel.green, pixel.blue};
  }
  const std::string_view layout = oracle::PictureLayout(pixelType);
  return oracle::ReadPixel(layout, picture.Row(y) + x * std::ssize(layout));
}

oracle::Image ImageOf(REALpictureStruct& picture) {
  oracle::Image image{.width = picture.width, .height = picture.height};
  image.pixels.reserve(static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height));
  for (std::int32_t y = 0; y < picture.height; ++y) {
    for (std::int32_t x = 0; x < picture.width; ++x) {
      image.pixels.push_back(ColourAt(picture, x, y));
    }
  }
  return image;
}

std::uint8_t Noise(std::uint64_t seed) {
  return static_cast<std::uint8_t>(Mix(seed, 0) >> 56);
}

void FillWithNoise(REALpictureStruct& picture, std::uint64_t seed) {
  for (std::int32_t row = 0; row < picture.height; ++row) {
    std::generate_n(picture.Row(row), picture.RowLength(), [&] { return Noise(seed++); });
  }
}

void FillWithNoise(REALmemoryBlockStruct& block, std::uint64_t seed) {
  std::generate_n(block.bytes(), block.size, [&] { return Noise(seed++); });
}

Bytes NoiseBytes(std::size_t count, std::uint64_t seed) {
  Bytes bytes(count);
  std::ranges::generate(bytes, [&seed] { return Noise(seed++); });
  return bytes;
}

Bytes BytesOf(REALmemoryBlockStruct& block) {
  return Bytes(block.bytes(), block.bytes() + block.size);
}

Bytes BytesOf(REALpictureStruct& picture) {
  Bytes bytes;
  bytes.reserve(picture.RowLength() * static_cast<std::size_t>(picture.height));
  for (std::int32_t row = 0; row < picture.height; ++row) {
    bytes.insert(bytes.end(), picture.Row(row), picture.Row(row) + picture.RowLength());
  }
  return bytes;
}

Bytes ParseHex(const std::string& digits) {
  Bytes bytes;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const char* end = digits.data() + i + 2;
    if (digits.size() % 2 != 0 || std::from_chars(end - 2, end, bytes.emplace_back(), 16).ptr != end) {
      throw std::runtime_error("no hexadecimal digits: " + digits);
    }
  }
  return bytes;
}

std::string Difference(std::span<const std::uint8_t> expected, std::span<const std::uint8_t> actual) {
  if (expected.size() != actual.size()) {
    return std::to_string(actual.size()) + " bytes instead of " + std::to_string(expected.size());
  }
  if (std::ranges::equal(expected, actual)) {
    return "";
  }
  const auto [wanted, found] = std::ranges::mismatch(expected, actual);
  return "byte " + std::to_string(wanted - expected.begin()) + " of " + std::to_string(expected.size()) +
         " is " + std::to_string(*found) + " instead of " + std::to_string(*wanted);
}

std::vector<std::string> Entries(const devhost::Host& host) {
  std::vector<std::string> entries;
  std::ranges::transform(host.trace, std::back_inserter(entries), &devhost::TracedCall::entry);
  return entries;
}

int CountCalls(const devhost::Host& host, const std::string& entry) {
  return static_cast<int>(std::ranges::count(host.trace, entry, &devhost::TracedCall::entry));
}

NothingLost::~NothingLost() {
  EXPECT_EQ(before_, host_.CurrentBalance());
  for (const std::string& complaint : host_.complaints) {
    ADD_FAILURE() << complaint;
  }
}

}  // namespace tests
