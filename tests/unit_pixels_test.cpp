// The conversion of rows: every pair of layouts, every kind of channel-less byte, in guarded memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "devhost/memory.h"
#include "oracle.h"
#include "pixels/convert.h"
#include "support.h"

namespace tests {
namespace {

using rastel::pixels::Conversion;
using rastel::pixels::Convert;
using rastel::pixels::Layout;
using rastel::pixels::Rest;

/// Layouts by the letters of their bytes; '.' is the byte without a channel.
struct NamedLayout {
  std::string_view letters;
  Layout layout;
};

const std::vector<NamedLayout> kPixels = {{"RGB", rastel::pixels::kRGB},   {"BGR", rastel::pixels::kBGR},
                                          {".RGB", rastel::pixels::kARGB}, {".BGR", rastel::pixels::kABGR},
                                          {"RGB.", rastel::pixels::kRGBA}, {"BGR.", rastel::pixels::kBGRA}};
const std::vector<NamedLayout> kChannels = {
    {"R", rastel::pixels::kRed}, {"G", rastel::pixels::kGreen}, {"B", rastel::pixels::kBlue}};
// As pictures have them: 13, 12, 8.
const std::vector<NamedLayout> kPictures = {kPixels[2], kPixels[0], kPixels[5]};

class Row {
 public:
  Row(std::ptrdiff_t bytes, std::uint64_t seed)
      : memory_({1, static_cast<std::size_t>(bytes), 0, false, true}), bytes_(bytes) {
    std::generate_n(begin(), bytes, [&] { return Noise(seed++); });
  }
  std::uint8_t* begin() const { return memory_.Row(0); }
  Bytes Copy() const { return Bytes(begin(), begin() + bytes_); }

 private:
  devhost::Memory memory_;
  std::ptrdiff_t bytes_;
};

struct Case {
  NamedLayout from, to;
  NamedLayout mask = kPictures[0];
  Rest rest = Rest::kFill;
  std::ptrdiff_t width = 0, count = 1;
  std::ptrdiff_t fromGap = 0, toGap = 0;  // bytes between two rows
};

Conversion ConversionOf(const Case& test) {
  Conversion conversion{.from = test.from.layout, .to = test.to.layout, .rest = test.rest, .fill = 0x5C};
  conversion.mask = test.mask.layout;
  return conversion;
}

std::uint8_t Expected(const Case& test, char letter, const std::uint8_t* source, const std::uint8_t* mask,
                      std::uint8_t before) {
  if (letter != '.') {
    return source[test.from.letters == "Y" ? 0 : test.from.letters.find(letter)];
  }
  switch (test.rest) {
    case Rest::kFill:
      return 0x5C;
    case Rest::kKept:
      return before;
    default:
      return static_cast<std::uint8_t>(255 - mask[test.mask.letters.find('G')]);
  }
}

std::ptrdiff_t Length(std::string_view letters) {
  return static_cast<std::ptrdiff_t>(letters.size());
}

void Check(const Case& test) {
  SCOPED_TRACE(testing::Message() << test.from.letters << " to " << test.to.letters << ", rest "
                                  << static_cast<int>(test.rest) << ", mask " << test.mask.letters << ", "
                                  << test.width << " pixels, " << test.count << " rows");
  const std::ptrdiff_t fromStep = test.width * Length(test.from.letters) + test.fromGap;
  const std::ptrdiff_t toStep = test.width * Length(test.to.letters) + test.toGap;
  const std::ptrdiff_t maskStep = test.width * Length(test.mask.letters) + test.fromGap;
  const Row source(std::max<std::ptrdiff_t>(0, fromStep * test.count - test.fromGap), 1);
  const Row mask(std::max<std::ptrdiff_t>(0, maskStep * test.count - test.fromGap), 1000);
  const Row destination(std::max<std::ptrdiff_t>(0, toStep * test.count - test.toGap), 2000);
  Bytes expected = destination.Copy();
  for (std::ptrdiff_t y = 0; y < test.count; ++y) {
    for (std::ptrdiff_t x = 0; x < test.width; ++x) {
      for (std::ptrdiff_t i = 0; i < Length(test.to.letters); ++i) {
        auto& byte = expected[static_cast<std::size_t>(y * toStep + x * Length(test.to.letters) + i)];
        byte = Expected(test, test.to.letters[static_cast<std::size_t>(i)],
                        source.begin() + y * fromStep + x * Length(test.from.letters),
                        mask.begin() + y * maskStep + x * Length(test.mask.letters), byte);
      }
    }
  }
  Convert(ConversionOf(test), {.destination = destination.begin(),
                               .destinationStep = toStep,
                               .source = source.begin(),
                               .sourceStep = fromStep,
                               .mask = mask.begin(),
                               .maskStep = maskStep,
                               .width = test.width,
                               .count = test.count});
  EXPECT_TRUE(SameBytes(expected, destination.Copy()));
}

TEST(Convert, EveryPairOfLayoutsAtEveryWidth) {
  std::vector<NamedLayout> sources = kPixels;
  sources.push_back({"Y", rastel::pixels::kGray});
  std::vector<NamedLayout> destinations = kPixels;
  destinations.insert(destinations.end(), kChannels.begin(), kChannels.end());
  for (const NamedLayout& from : sources) {
    for (const NamedLayout& to : destinations) {
      for (const Rest rest : {Rest::kFill, Rest::kKept}) {
        for (std::ptrdiff_t width = 0; width <= 70; ++width) {
          Check({.from = from, .to = to, .rest = rest, .width = width});
        }
        Check({.from = from, .to = to, .rest = rest, .width = 13, .count = 3, .fromGap = 5, .toGap = 3});
        Check({.from = from, .to = to, .rest = rest, .width = 16, .count = 4});
        Check({.from = from, .to = to, .rest = rest, .width = 3, .count = 0});
      }
    }
  }
}

TEST(Convert, EveryPairOfPictureAndMask) {
  for (const NamedLayout& from : kPictures) {
    for (const NamedLayout& mask : kPictures) {
      for (std::size_t layout = 2; layout < kPixels.size(); ++layout) {
        Case test{.from = from, .to = kPixels[layout], .mask = mask, .rest = Rest::kFromMask};
        for (test.width = 0; test.width <= 70; ++test.width) {
          Check(test);
        }
        test.width = 19;
        test.count = 3;
        test.fromGap = 7;
        test.toGap = 2;
        Check(test);
      }
    }
  }
}

TEST(Convert, InPlaceWherePixelsHaveTheSameSize) {
  for (const NamedLayout& from : kPixels) {
    for (const NamedLayout& to : kPixels) {
      if (from.letters.size() != to.letters.size()) {
        continue;
      }
      for (std::ptrdiff_t width = 0; width <= 70; ++width) {
        const std::ptrdiff_t bytes = width * Length(to.letters);
        const Row row(bytes, 9);
        const Row source(bytes, 9);
        const Row destination(bytes, 10);
        const Conversion conversion = ConversionOf({.from = from, .to = to});
        Convert(conversion,
                {.destination = destination.begin(), .source = source.begin(), .width = width, .count = 1});
        Convert(conversion, {.destination = row.begin(), .source = row.begin(), .width = width, .count = 1});
        EXPECT_TRUE(SameBytes(destination.Copy(), row.Copy())) << from.letters << " to " << to.letters;
      }
    }
  }
}

TEST(Convert, StepsOfAnySizeAndSign) {
  // Gray samples three bytes apart, from the last to the first; one channel written backwards.
  const Row source(3 * 40, 3);
  const Row channel(2 * 40, 4);
  Bytes expected = channel.Copy();
  Conversion conversion{.from = rastel::pixels::kGray, .to = rastel::pixels::kGreen};
  conversion.fromStep = -3;
  conversion.toStep = -2;
  for (std::size_t i = 0; i < 40; ++i) {
    expected[(39 - i) * 2] = source.begin()[(39 - i) * 3];
  }
  Convert(conversion,
          {.destination = channel.begin() + 78, .source = source.begin() + 117, .width = 40, .count = 1});
  EXPECT_TRUE(SameBytes(expected, channel.Copy()));
}

TEST(Convert, LooksGrayUp) {
  rastel::pixels::ChannelTables tables;
  for (std::size_t i = 0; i < 256; ++i) {
    tables.red[i] = Noise(i);
    tables.green[i] = Noise(i + 256);
    tables.blue[i] = Noise(i + 512);
  }
  const Row source(256, 0);
  std::generate_n(source.begin(), 256, [i = 0]() mutable { return static_cast<std::uint8_t>(i++); });
  for (const NamedLayout& to : kPixels) {
    const Row destination(256 * Length(to.letters), 7);
    Bytes expected = destination.Copy();
    for (std::size_t i = 0; i < expected.size(); ++i) {
      const std::size_t gray = i / to.letters.size();
      const char letter = to.letters[i % to.letters.size()];
      expected[i] = letter == 'R'   ? Noise(gray)
                    : letter == 'G' ? Noise(gray + 256)
                    : letter == 'B' ? Noise(gray + 512)
                                    : 0x5C;
    }
    Conversion conversion = ConversionOf({.from = {"Y", rastel::pixels::kGray}, .to = to});
    conversion.tables = &tables;
    Convert(conversion,
            {.destination = destination.begin(), .source = source.begin(), .width = 256, .count = 1});
    EXPECT_TRUE(SameBytes(expected, destination.Copy())) << to.letters;
  }
}

}  // namespace
}  // namespace tests
