// The conversion of rows on every CPU target: every pair of layouts, every kind of channel-less byte, every
// width up to 200 pixels, right up to pages without access.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "oracle.h"
#include "pixels/converter.h"
#include "pixels/targets.h"
#include "support.h"

namespace rastel::pixels {
// The widest geometry without the CPU's instructions for it: it runs everywhere.
void FindKernel_wide_plain(const KernelRequest& request, Plan& plan);
}  // namespace rastel::pixels

namespace tests {
namespace {

using rastel::pixels::Conversion;
using rastel::pixels::Converter;
using rastel::pixels::Layout;
using rastel::pixels::Rest;
using rastel::pixels::Rows;
using rastel::pixels::Target;

/// Layouts by the letters of their bytes; '.' is the byte without a channel.
struct NamedLayout {
  std::string_view letters;
  Layout layout;

  std::ptrdiff_t Length() const { return static_cast<std::ptrdiff_t>(letters.size()); }
};

const std::vector<NamedLayout> kColours = {{"RGB", Layout::kRGB},   {"BGR", Layout::kBGR},
                                           {".RGB", Layout::kARGB}, {".BGR", Layout::kABGR},
                                           {"RGB.", Layout::kRGBA}, {"BGR.", Layout::kBGRA}};
const std::vector<NamedLayout> kChannels = {{"R", Layout::kRed}, {"G", Layout::kGreen}, {"B", Layout::kBlue}};
const NamedLayout kGray = {"Y", Layout::kGray};
// As pictures have them: 13, 12, 8.
const std::vector<NamedLayout> kPictures = {kColours[2], kColours[0], kColours[5]};

/// Memory between two pages without access; the same for all rows.
class Arena {
 public:
  Arena() : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
    start_ = static_cast<std::uint8_t*>(
        mmap(nullptr, kPages * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(First(), (kPages - 2) * page_, PROT_READ | PROT_WRITE);
  }
  ~Arena() { munmap(start_, kPages * page_); }
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  /// `bytes` bytes that end `distance` bytes before the page behind, or begin that far behind the page
  /// before.
  std::uint8_t* Place(std::ptrdiff_t bytes, bool atEnd, std::ptrdiff_t distance) const {
    return atEnd ? First() + (kPages - 2) * page_ - bytes - distance : First() + distance;
  }

 private:
  static constexpr std::size_t kPages = 6;

  std::uint8_t* First() const { return start_ + page_; }

  std::size_t page_;
  std::uint8_t* start_;
};

struct Placement {
  bool sourceAtEnd, destinationAtEnd;
  std::ptrdiff_t distance;
};
const Placement kPlacements[] = {{true, true, 0}, {false, true, 0}, {true, false, 1}, {false, false, 3}};

struct Case {
  NamedLayout from, to;
  NamedLayout mask = kPictures[0];
  Rest rest = Rest::kFill;
  std::ptrdiff_t fromStep = from.Length(), toStep = to.Length();
  const rastel::pixels::ChannelWeights* weights = nullptr;
  const rastel::pixels::ChannelTables* tables = nullptr;

  Conversion Made() const {
    Conversion conversion{.from = from.layout, .to = to.layout, .rest = rest, .fill = 0x5C};
    conversion.mask = mask.layout;
    conversion.fromStep = fromStep;
    conversion.toStep = toStep;
    conversion.weights = weights;
    conversion.tables = tables;
    return conversion;
  }
};

std::uint8_t Expected(const Case& test, char letter, const std::uint8_t* source, const std::uint8_t* mask,
                      std::uint8_t before) {
  if (letter == '.') {
    return test.rest == Rest::kFill   ? 0x5C
           : test.rest == Rest::kKept ? before
                                      : static_cast<std::uint8_t>(255 - mask[test.mask.letters.find('G')]);
  }
  const std::uint8_t byte = source[test.from.letters == "Y" ? 0 : test.from.letters.find(letter)];
  const std::size_t channel = std::string_view("RGB").find(letter);
  if (test.weights != nullptr) {
    return oracle::Weigh(byte, test.weights->values[channel]);
  }
  return test.tables != nullptr ? test.tables->values[channel][byte] : byte;
}

/// Bytes from the first pixel's first byte to the last one's last.
std::ptrdiff_t Extent(std::ptrdiff_t width, std::ptrdiff_t step, std::ptrdiff_t pixel) {
  return width == 0 ? 0 : (width - 1) * step + pixel;
}

class Targets : public testing::TestWithParam<Target> {
 protected:
  void SetUp() override {
    if (!GetParam().isSupported()) {
      GTEST_SKIP() << "this CPU does not run the target " << GetParam().name;
    }
    std::uint64_t seed = 0;
    std::generate(noise_.begin(), noise_.end(), [&seed] { return Noise(seed++); });
  }

  /// Converts one row in `place` and compares every byte of it. False at a difference.
  bool Check(const Case& test, std::ptrdiff_t width, const Placement& place) {
    const std::ptrdiff_t sourceBytes = Extent(width, test.fromStep, test.from.Length());
    const std::ptrdiff_t maskBytes = Extent(width, test.mask.Length(), test.mask.Length());
    const std::ptrdiff_t bytes = Extent(width, test.toStep, test.to.Length());
    std::uint8_t* source = source_.Place(sourceBytes, place.sourceAtEnd, place.distance);
    std::uint8_t* mask = mask_.Place(maskBytes, place.sourceAtEnd, place.distance);
    std::uint8_t* destination = destination_.Place(bytes, place.destinationAtEnd, place.distance);
    std::copy_n(noise_.begin() + width % 7, sourceBytes, source);
    std::copy_n(noise_.begin() + 1000, maskBytes, mask);
    std::copy_n(noise_.begin() + 2000, bytes, destination);
    std::copy_n(destination, bytes, expected_.begin());
    for (std::ptrdiff_t x = 0; x < width; ++x) {
      for (std::ptrdiff_t i = 0; i < test.to.Length(); ++i) {
        auto& byte = expected_[static_cast<std::size_t>(x * test.toStep + i)];
        byte = Expected(test, test.to.letters[static_cast<std::size_t>(i)], source + x * test.fromStep,
                        mask + x * test.mask.Length(), byte);
      }
    }
    const Converter converter(test.Made(), GetParam().find);
    converter.Convert({{destination, bytes + 5}, {source, sourceBytes + 3}, {mask, maskBytes + 1}, width, 1});
    const bool isSame = std::memcmp(destination, expected_.data(), static_cast<std::size_t>(bytes)) == 0;
    EXPECT_TRUE(isSame) << GetParam().name << ": " << test.from.letters << " (step " << test.fromStep
                        << ") to " << test.to.letters << " (step " << test.toStep << "), rest "
                        << static_cast<int>(test.rest) << ", mask " << test.mask.letters << ", width "
                        << width << ", distance " << place.distance << ": "
                        << SameBytes(Bytes(expected_.begin(), expected_.begin() + bytes),
                                     Bytes(destination, destination + bytes))
                               .message();
    return isSame;
  }

  void CheckAllWidths(const Case& test) {
    for (std::ptrdiff_t width = 0; width <= 200; ++width) {
      if (!std::ranges::all_of(kPlacements, [&](const auto& place) { return Check(test, width, place); })) {
        return;
      }
    }
  }

 private:
  Arena source_, mask_, destination_;
  std::array<std::uint8_t, 4096> noise_{};
  std::array<std::uint8_t, 1024> expected_{};
};

TEST_P(Targets, ConvertEveryPairOfLayouts) {
  std::vector<NamedLayout> sources = kColours;
  sources.push_back(kGray);
  std::vector<NamedLayout> destinations = kColours;
  destinations.insert(destinations.end(), kChannels.begin(), kChannels.end());
  for (const NamedLayout& from : sources) {
    for (const NamedLayout& to : destinations) {
      CheckAllWidths({.from = from, .to = to});
      if (to.Length() == 4) {
        CheckAllWidths({.from = from, .to = to, .rest = Rest::kKept});
      }
    }
  }
}

TEST_P(Targets, ConvertEveryPairOfPictureAndMask) {
  for (const NamedLayout& from : kPictures) {
    for (const NamedLayout& mask : kPictures) {
      for (std::size_t to = 2; to < kColours.size(); ++to) {
        CheckAllWidths({.from = from, .to = kColours[to], .mask = mask, .rest = Rest::kFromMask});
      }
    }
  }
}

TEST_P(Targets, ConvertPixelsThatAreApart) {
  for (const std::ptrdiff_t step : {2, 3, 4, 5}) {
    for (const NamedLayout& picture : kPictures) {
      CheckAllWidths({.from = kGray, .to = picture, .fromStep = step});
      for (const NamedLayout& channel : kChannels) {
        CheckAllWidths({.from = picture, .to = channel, .toStep = step});
      }
    }
  }
}

TEST_P(Targets, WeighAndLookUpGray) {
  rastel::pixels::ChannelTables tables;
  std::uint64_t seed = 77;
  for (auto& channel : tables.values) {
    std::generate(std::begin(channel), std::end(channel), [&seed] { return Noise(seed++); });
  }
  const rastel::pixels::ChannelWeights weights[] = {{{77, 150, 29}}, {{0, 256, 32767}}, {{255, 512, 257}}};
  for (const std::ptrdiff_t step : {1, 4, 3}) {
    for (const NamedLayout& picture : kPictures) {
      CheckAllWidths({.from = kGray, .to = picture, .fromStep = step, .tables = &tables});
      for (const auto& weight : weights) {
        CheckAllWidths({.from = kGray, .to = picture, .fromStep = step, .weights = &weight});
      }
    }
  }
}

/// What `converter` makes of `rows` row by row, against what it makes of them at once.
void ExpectRowsAsOneByOne(const Converter& converter, Rows rows, Bytes& destination, std::ptrdiff_t first) {
  Bytes atOnce = destination;
  for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
    Rows row = rows;
    row.destination.first = destination.data() + first + y * rows.destination.step;
    row.source.first = rows.source[y];
    row.count = 1;
    converter.Convert(row);
  }
  rows.destination.first = atOnce.data() + first;
  converter.Convert(rows);
  EXPECT_TRUE(SameBytes(destination, atOnce));
}

TEST_P(Targets, ConvertRowsWithStepsOfAnySizeAndSign) {
  Bytes source(9000);
  std::generate(source.begin(), source.end(), [seed = std::uint64_t{5}]() mutable { return Noise(seed++); });
  for (const Case& test :
       {Case{.from = kColours[2], .to = kColours[0]}, Case{.from = kGray, .to = kColours[4]},
        Case{.from = kColours[2], .to = kChannels[1], .toStep = 4},
        Case{.from = kColours[0], .to = kChannels[0], .toStep = -3},
        Case{.from = kGray, .to = kColours[5], .fromStep = 4}}) {
    for (const std::ptrdiff_t width : {1, 16, 37, 64, 130}) {
      const std::ptrdiff_t packed = width * std::abs(test.toStep);
      for (const std::ptrdiff_t step : {packed, packed + 3, width, -packed - 1, std::ptrdiff_t{0}}) {
        Bytes destination(9000, 0xEE);
        const Rows rows{.destination = {.step = step},
                        .source = {source.data() + 4000, -width * test.fromStep},
                        .width = width,
                        .count = 5};
        ExpectRowsAsOneByOne(Converter(test.Made(), GetParam().find), rows, destination, 4500);
      }
    }
  }
}

TEST_P(Targets, ConvertInPlaceWherePixelsHaveTheSameSize) {
  for (const NamedLayout& from : kColours) {
    for (const NamedLayout& to : kColours) {
      if (from.Length() != to.Length()) {
        continue;
      }
      const Converter converter(Case{.from = from, .to = to}.Made(), GetParam().find);
      for (std::ptrdiff_t width = 0; width <= 200; ++width) {
        Bytes source(static_cast<std::size_t>(width * to.Length()));
        std::generate(source.begin(), source.end(),
                      [seed = std::uint64_t{9}]() mutable { return Noise(seed++); });
        Bytes destination(source.size());
        converter.Convert(
            {.destination = {destination.data()}, .source = {source.data()}, .width = width, .count = 1});
        converter.Convert(
            {.destination = {source.data()}, .source = {source.data()}, .width = width, .count = 1});
        EXPECT_TRUE(SameBytes(destination, source)) << from.letters << " to " << to.letters;
      }
    }
  }
}

TEST_P(Targets, ConvertLargePicturesPastTheCaches) {
  // Enough bytes to bypass the caches, in rows whose starts are not aligned.
  constexpr std::ptrdiff_t kWidth = 4099;
  constexpr std::ptrdiff_t kRows = 2400;
  for (const auto& [from, to] : {std::pair{kColours[4], kColours[2]}, std::pair{kColours[2], kColours[0]}}) {
    Bytes source(static_cast<std::size_t>(kWidth * kRows * from.Length()));
    std::generate(source.begin(), source.end(),
                  [seed = std::uint64_t{1}]() mutable { return Noise(seed++); });
    const std::ptrdiff_t toStep = kWidth * to.Length() + 5;
    Bytes destination(static_cast<std::size_t>(toStep * kRows), 0xEE);
    const Converter converter(Case{.from = from, .to = to}.Made(), GetParam().find);
    const Rows rows{.destination = {.step = toStep},
                    .source = {source.data(), kWidth * from.Length()},
                    .width = kWidth,
                    .count = kRows};
    ExpectRowsAsOneByOne(converter, rows, destination, 0);
  }
}

std::vector<Target> TargetsAndThePlainWideOne() {
  const auto all = rastel::pixels::Targets();
  std::vector<Target> targets(all.begin(), all.end());
  targets.push_back({"wide_plain", [] { return true; }, rastel::pixels::FindKernel_wide_plain});
  return targets;
}

INSTANTIATE_TEST_SUITE_P(All, Targets, testing::ValuesIn(TargetsAndThePlainWideOne()),
                         [](const auto& target) { return std::string(target.param.name); });

TEST(TargetList, TheBestOneIsTheFirstThatTheProcessorRuns) {
  const auto all = rastel::pixels::Targets();
  const auto first = std::ranges::find_if(all, [](const Target& target) { return target.isSupported(); });
  ASSERT_NE(first, all.end());
  EXPECT_EQ(first->name, rastel::pixels::BestTarget().name);
  EXPECT_TRUE(all.back().isSupported());
}

}  // namespace
}  // namespace tests
