#include "rastel-host/expectation.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>
#include <utility>

namespace devhost::program {
namespace {

oracle::Image AsReference(const Image& image) {
  oracle::Image reference{.width = image.width, .height = image.height};
  for (const Rgba& pixel : image.pixels) {
    reference.pixels.push_back({pixel.red, pixel.green, pixel.blue});
  }
  return reference;
}

/// The layout that the copy writes, letter by letter.
std::string LettersOf(const Layout& layout, const CopyBack& copy) {
  std::string letters(static_cast<std::size_t>(layout.pixelBytes), 'X');
  const auto put = [&](int position, char letter) {
    if (position >= 0) {
      letters[static_cast<std::size_t>(position)] = letter;
    }
  };
  put(layout.red, 'R');
  put(layout.blue, 'B');
  put(layout.green, 'G');  // last: a gray byte is read from green
  put(layout.fourthByte, copy.mask != nullptr ? 'M' : copy.alpha ? 'A' : 'X');
  return letters;
}

std::string PixelText(std::int64_t x, std::int64_t y) {
  return "pixel (" + std::to_string(x) + ", " + std::to_string(y) + ")";
}

std::string Difference(const std::string& place, int expected, int got) {
  return place + ": expected " + std::to_string(expected) + ", got " + std::to_string(got);
}

}  // namespace

Image ExpectedPicture(const Image& shown, bool flip, std::uint8_t fourth, const Image* destination) {
  Image picture = destination != nullptr ? *destination : Image(shown.width, shown.height);
  for (std::int32_t y = 0; y < shown.height; ++y) {
    for (std::int32_t x = 0; x < shown.width; ++x) {
      picture.At(x, y) = shown.At(x, flip ? shown.height - 1 - y : y);
      picture.At(x, y).alpha = fourth;
    }
  }
  return picture;
}

BufferShape ShapeOf(Size size, const Layout& layout, const Band& band, std::int32_t stride) {
  const std::int32_t bottom = size.height - 1;
  BufferShape shape;
  shape.width = size.width;
  shape.first = std::min(band.first, bottom);
  const std::int32_t last = band.last < 0 ? bottom : std::min(band.last, bottom);
  shape.rows = std::max(last - shape.first + 1, 0);
  shape.stride = std::max(std::int64_t{size.width} * layout.pixelBytes, std::int64_t{stride});
  return shape;
}

std::vector<std::uint8_t> ExpectedBuffer(const Image& picture, const Layout& layout, const CopyBack& copy,
                                         std::uint8_t untouched) {
  const Image& sized = copy.mask != nullptr ? *copy.mask : picture;
  const BufferShape shape = ShapeOf({sized.width, sized.height}, layout, copy.band, copy.stride);
  std::vector<std::uint8_t> buffer(static_cast<std::size_t>(shape.Bytes()), untouched);
  const oracle::Copy written{.layout = LettersOf(layout, copy),
                             .width = shape.width,
                             .lines = {shape.first, shape.first + shape.rows - 1},
                             .pixelBytes = layout.pixelBytes,
                             .destRowBytes = shape.stride,
                             .alpha = copy.alpha.value_or(0)};
  oracle::Write(
      written, AsReference(picture), AsReference(sized),
      [&](std::int64_t position) -> std::uint8_t& { return buffer[static_cast<std::size_t>(position)]; });
  return buffer;
}

Rgba Weighted(std::uint8_t gray, const oracle::Weights& weights) {
  return {oracle::Weigh(gray, weights[0]), oracle::Weigh(gray, weights[1]), oracle::Weigh(gray, weights[2]),
          255};
}

Rgba LookedUp(std::uint8_t gray, const oracle::Palettes& palettes) {
  return {oracle::LookUp(gray, palettes[0]), oracle::LookUp(gray, palettes[1]),
          oracle::LookUp(gray, palettes[2]), 255};
}

std::string ImageDifference::Text() const {
  const std::int64_t pixels = std::int64_t{picture.width} * picture.height;
  return Difference(PixelText(x, y) + " " + std::string(channel), expected, got) + "; " +
         std::to_string(count) + " of " + std::to_string(pixels) + " pixels differ, by at most " +
         std::to_string(most);
}

std::optional<ImageDifference> Compare(const Image& expected, const Image& got) {
  constexpr std::uint8_t Rgba::*kChannels[] = {&Rgba::red, &Rgba::green, &Rgba::blue, &Rgba::alpha};
  constexpr std::string_view kNames[] = {"red", "green", "blue", "alpha"};
  ImageDifference difference;
  difference.picture = Image(expected.width, expected.height);
  for (std::size_t i = 0; i < expected.pixels.size(); ++i) {
    const Rgba& wanted = expected.pixels[i];
    const Rgba& found = got.pixels[i];
    for (std::size_t channel = 0; channel < std::size(kChannels); ++channel) {
      const int a = wanted.*kChannels[channel];
      const int b = found.*kChannels[channel];
      if (a != b && difference.count == 0 && difference.most == 0) {
        difference.x = static_cast<std::int32_t>(i % static_cast<std::size_t>(expected.width));
        difference.y = static_cast<std::int32_t>(i / static_cast<std::size_t>(expected.width));
        difference.channel = kNames[channel];
        difference.expected = a;
        difference.got = b;
      }
      difference.most = std::max(difference.most, std::abs(a - b));
      difference.picture.pixels[i].*kChannels[channel] = static_cast<std::uint8_t>(std::abs(a - b));
    }
    difference.count += wanted == found ? 0 : 1;
    difference.picture.pixels[i].alpha = 255;
  }
  return difference.count == 0 ? std::nullopt : std::optional(std::move(difference));
}

std::optional<std::string> FirstDifference(const std::vector<std::uint8_t>& expected,
                                           const std::vector<std::uint8_t>& got, const BufferShape& shape,
                                           const Layout& layout) {
  const auto [in, out] = std::mismatch(expected.begin(), expected.end(), got.begin());
  if (in == expected.end()) {
    return std::nullopt;
  }
  const std::int64_t index = in - expected.begin();
  const std::int64_t row = index / shape.stride;
  const std::int64_t inRow = index % shape.stride;
  const std::int64_t column = inRow / layout.pixelBytes;
  if (column >= shape.width) {
    return Difference(
        "byte " + std::to_string(inRow) + " of row " + std::to_string(row) + ", between the rows", *in, *out);
  }
  const auto channel = ByteName(static_cast<int>(inRow % layout.pixelBytes), layout);
  return Difference(PixelText(column, row) + " " + std::string(channel), *in, *out);
}

}  // namespace devhost::program
