// The conversion of rows on every CPU target, and which targets there are.
#include <gtest/gtest.h>
#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "figures.h"
#include "rows.h"
#include "support.h"

namespace tests {
namespace {

using rastel::pixels::Converter;
using rastel::pixels::Plan;
using rastel::pixels::Rows;
using rastel::pixels::Target;

std::string Names(const std::vector<Target>& targets) {
  std::string names;
  for (const Target& target : targets) {
    names += (names.empty() ? "" : ",") + std::string(target.name);
  }
  return names;
}

std::vector<Target> TargetsNotRun() {
  std::vector<Target> targets;
  std::ranges::copy_if(rastel::pixels::Targets(), std::back_inserter(targets),
                       [](const Target& target) { return !target.isSupported(); });
  return targets;
}

TEST(Rows, AreExactBetweenPagesWithoutAccess) {
  const auto targets = RunnableTargets();
  const auto placements = std::max(1U, static_cast<std::uint32_t>(4 * Soak()));
  const RowCount count = CheckRows(AllCases(), targets, placements);
  const auto longPlacements = std::min(placements, std::max(4U, placements / 8));
  const RowCount streamed = CheckRows(AllCases(), targets, longPlacements, kPastTheCaches);
  const RowCount tooShort = CheckRows(AllCases(), targets, longPlacements, kTooShortForThat);
  EXPECT_EQ(0, count.differences) << count.first;
  EXPECT_EQ(0, tooShort.differences) << tooShort.first;
  EXPECT_EQ(0, streamed.differences) << streamed.first;
  EXPECT_GT(count.rows, 0);
  EXPECT_GT(streamed.rows, 0);
  Figure("rows")
      .Add("cases", count.rows + streamed.rows + tooShort.rows)
      .Add("streamed", streamed.rows)
      .Add("differences", count.differences + streamed.differences + tooShort.differences)
      .Add("targets", Names(targets))
      .Add("notrun", Names(TargetsNotRun()));
}

// Faults that are built in, to see that the rows find them.

/// What the best target does, followed by a fault at `rows`' last pixel.
template <void (*Fault)(const Rows&)>
void FindFaulty(Plan& plan) {
  static decltype(Plan::run) real;
  rastel::pixels::BestTarget().find(plan);
  real = plan.run;
  plan.run = [](const Plan& same, const Rows& rows, bool stream) {
    real(same, rows, stream);
    Fault(rows);
  };
}

void OneByteOver(const Rows& rows) {
  rows.destination.first[rows.width * 4] = 0x77;
}

void OneByteUnder(const Rows& rows) {
  rows.destination.first[-1] = 0x77;
}

void ReadOneByteOver(const Rows& rows) {
  const volatile std::uint8_t* behind = rows.source[rows.count - 1] + rows.width * 4;
  static_cast<void>(*behind);
}

void WrongChannel(const Rows& rows) {
  if (rows.width == 257) {
    std::swap(rows.destination.first[256 * 4 + 1], rows.destination.first[256 * 4 + 2]);
  }
}

struct Saboteur {
  const char* name;
  rastel::pixels::KernelFinder find;
};

class Saboteurs : public testing::TestWithParam<Saboteur> {};

TEST_P(Saboteurs, OfRowsAreCaught) {
  const std::vector<Case> cases = {{.from = kColours[2], .to = kColours[4]}};
  const std::vector<Target> targets = {{GetParam().name, [] { return true; }, GetParam().find}};
  const auto check = [&] {
    const RowCount count = CheckRows(cases, targets, 4);
    std::cerr << count.first << std::endl;
    std::_Exit(count.differences == 0 ? 0 : 1);
  };
  const auto isCaught = [](int status) {
    return (WIFEXITED(status) && WEXITSTATUS(status) != 0) ||
           (WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV);
  };
  EXPECT_EXIT(check(), isCaught,
              "target " + std::string(GetParam().name) + ".*width.*seed.*alignment.*repeat");
}

INSTANTIATE_TEST_SUITE_P(, Saboteurs,
                         testing::Values(Saboteur{"OneByteOver", FindFaulty<OneByteOver>},
                                         Saboteur{"OneByteUnder", FindFaulty<OneByteUnder>},
                                         Saboteur{"ReadOneByteOver", FindFaulty<ReadOneByteOver>},
                                         Saboteur{"WrongChannel", FindFaulty<WrongChannel>}),
                         [](const auto& saboteur) { return std::string(saboteur.param.name); });

class Targets : public testing::TestWithParam<Target> {};

/// `count` places, as entries of a table that lie a few bytes before them.
template <typename Byte>
struct Tabled {
  Tabled(const rastel::pixels::Places<Byte>& same, std::ptrdiff_t count) {
    for (std::ptrdiff_t i = 0; i < count; ++i) {
      starts.push_back(rastel::pixels::At(same[i], -kOffset, 1));
    }
    places = {.table = starts.data(), .offset = kOffset};
  }

  static constexpr std::ptrdiff_t kOffset = 5;
  std::vector<Byte*> starts;
  rastel::pixels::Places<Byte> places;
};

/// What `converter` makes of `rows` row by row, against what it makes of them at once: equally spaced, and
/// found through tables. The rows written may not overlap in a table.
void ExpectRowsAsOneByOne(const Converter& converter, Rows rows, Bytes& destination, std::ptrdiff_t first,
                          bool mayOverlap = false) {
  Bytes atOnce = destination;
  Bytes throughTables = destination;
  rows.destination.first = destination.data() + first;
  for (std::ptrdiff_t y = 0; y < rows.count; ++y) {
    converter.Convert({.destination = {rows.destination[y]},
                       .source = {rows.source[y]},
                       .mask = {rows.mask[y]},
                       .width = rows.width,
                       .count = 1});
  }
  rows.destination.first = atOnce.data() + first;
  converter.Convert(rows);
  EXPECT_TRUE(SameBytes(destination, atOnce));
  rows.destination.first = throughTables.data() + first;
  const Tabled to(rows.destination, rows.count);
  const Tabled from(rows.source, rows.count);
  const Tabled mask(rows.mask, rows.count);
  rows.destination = mayOverlap ? rows.destination : to.places;
  rows.source = from.places;
  rows.mask = mask.places;
  converter.Convert(rows);
  EXPECT_TRUE(SameBytes(destination, throughTables)) << "through tables";
}

/// Noise for `rows` packed rows of `width` pixels.
Bytes NoiseFor(const NamedLayout& layout, std::ptrdiff_t width, std::ptrdiff_t rows) {
  Bytes bytes(static_cast<std::size_t>(width * rows * layout.Length()));
  std::generate(bytes.begin(), bytes.end(), [seed = std::uint64_t{1}]() mutable { return Noise(seed++); });
  return bytes;
}

constexpr auto kFromMask = rastel::pixels::Rest::kFromMask;

TEST_P(Targets, ConvertRowsWithStepsOfAnySizeAndSign) {
  const Bytes source = NoiseFor(kGray, 9000, 1);
  const Bytes maskBytes = NoiseFor(kColours[0], 150, 5);
  for (const Case& test :
       {Case{.from = kColours[2], .to = kColours[0]}, Case{.from = kGray, .to = kColours[4]},
        Case{.from = kColours[2], .to = kChannels[1], .toStep = 4},
        Case{.from = kColours[0], .to = kChannels[0], .toStep = -3},
        Case{.from = kGray, .to = kColours[5], .fromStep = 4},
        Case{.from = kColours[5], .to = kColours[3], .mask = kColours[0], .rest = kFromMask},
        Case{.from = kGray, .to = kColours[4], .mask = kColours[0], .rest = kFromMask, .fromStep = 4}}) {
    for (const std::ptrdiff_t width : {1, 16, 37, 64, 130}) {
      const std::ptrdiff_t packed = width * std::abs(test.toStep);
      for (const std::ptrdiff_t step : {packed, packed + 3, width, -packed - 1, std::ptrdiff_t{0}}) {
        for (const std::ptrdiff_t maskStep : {width * 3, width * 3 + 1}) {
          Bytes destination(9000, 0xEE);
          const Rows rows{.destination = {.step = step},
                          .source = {source.data() + 4000, -width * test.fromStep},
                          .mask = {maskBytes.data(), maskStep},
                          .width = width,
                          .count = 5};
          ExpectRowsAsOneByOne(Converter(test.Made(), GetParam().find), rows, destination, 4500,
                               std::abs(step) < packed);
        }
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

TEST_P(Targets, ConvertPicturesInPlaceThatAreLargeEnoughToBypassTheCaches) {
  constexpr std::ptrdiff_t kWidth = 4096;
  constexpr std::ptrdiff_t kRows = 10;
  Bytes pixels = NoiseFor(kColours[4], kWidth, kRows);
  Bytes destination(pixels.size());
  const Converter converter(Case{.from = kColours[4], .to = kColours[2]}.Made(), GetParam().find, 0);
  for (std::uint8_t* to : {destination.data(), pixels.data()}) {
    converter.Convert({.destination = {to, kWidth * 4},
                       .source = {pixels.data(), kWidth * 4},
                       .width = kWidth,
                       .count = kRows});
  }
  EXPECT_TRUE(SameBytes(destination, pixels));
}

// Which conversions make sense: the compiler holds these.
namespace possible {

using rastel::pixels::IsPossible;
using rastel::pixels::Layout;
static constexpr rastel::pixels::ChannelWeights kWeights{};
static constexpr rastel::pixels::ChannelTables kTables{};
static_assert(IsPossible({.from = Layout::kARGB, .to = Layout::kRed}));
static_assert(!IsPossible({.from = Layout::kRed, .to = Layout::kRGB}));
static_assert(!IsPossible({.from = Layout::kRGB, .to = Layout::kGray}));
static_assert(IsPossible({.from = Layout::kGray, .to = Layout::kRGB, .weights = &kWeights}));
static_assert(IsPossible({.from = Layout::kGray, .to = Layout::kBGRA, .tables = &kTables}));
static_assert(!IsPossible({.from = Layout::kGray, .to = Layout::kRed, .weights = &kWeights}));
static_assert(!IsPossible(
    {.from = Layout::kGray, .to = Layout::kARGB, .rest = rastel::pixels::Rest::kKept, .tables = &kTables}));
static_assert(!IsPossible({.from = Layout::kRGB, .to = Layout::kARGB, .weights = &kWeights}));
static_assert(!IsPossible({.from = Layout::kRGB,
                           .to = Layout::kARGB,
                           .rest = rastel::pixels::Rest::kFromMask,
                           .mask = Layout::kGray}));

}  // namespace possible

INSTANTIATE_TEST_SUITE_P(All, Targets, testing::ValuesIn(RunnableTargets()),
                         [](const auto& target) { return std::string(target.param.name); });

TEST(StreamingThreshold, IsAsLargeAsACacheMayBe) {
  EXPECT_LE(6 << 20, rastel::pixels::StreamingThreshold());
  EXPECT_GE(64 << 20, rastel::pixels::StreamingThreshold());
}

TEST(TargetList, TheBestOneIsTheFirstThatTheProcessorRuns) {
  const auto all = rastel::pixels::Targets();
  const auto first = std::ranges::find_if(all, [](const Target& target) { return target.isSupported(); });
  ASSERT_NE(first, all.end());
  EXPECT_EQ(first->name, rastel::pixels::BestTarget().name);
  EXPECT_TRUE(all.back().isSupported());
}

/// What the processor itself says of a target, asked without the plug-in. No answer for an unknown target.
std::optional<bool> ProcessorRuns(std::string_view target) {
  if (target == "plain" || target == "neon") {
    return true;
  }
#if defined(__x86_64__) || defined(__i386__)
  unsigned leaf1[4] = {};
  unsigned leaf7[4] = {};
  __get_cpuid(1, &leaf1[0], &leaf1[1], &leaf1[2], &leaf1[3]);
  __get_cpuid_count(7, 0, &leaf7[0], &leaf7[1], &leaf7[2], &leaf7[3]);
  if (target == "ssse3") {
    return (leaf1[2] & bit_SSSE3) != 0;
  }
  if (target == "avx2") {
    return (leaf7[1] & bit_AVX2) != 0;
  }
  if (target == "avx512vbmi") {
    return (leaf7[1] & bit_AVX512BW) != 0 && (leaf7[1] & bit_AVX512VL) != 0 &&
           (leaf7[2] & bit_AVX512VBMI) != 0;
  }
#endif
  return std::nullopt;
}

TEST(TargetList, NamesEveryTargetThatWasBuiltAndSkipsNoneThatRuns) {
  for (const Target& target : rastel::pixels::Targets()) {
    const auto runs = ProcessorRuns(target.name);
    ASSERT_TRUE(runs) << "this test does not know which processors run " << target.name;
    EXPECT_EQ(*runs, target.isSupported()) << target.name;
  }
  const auto run = RunnableTargets();
  const auto notRun = TargetsNotRun();
  EXPECT_EQ(RASTEL_TARGET_NAMES, Names({rastel::pixels::Targets().begin(), rastel::pixels::Targets().end()}));
  EXPECT_EQ(rastel::pixels::Targets().size() + 1, run.size() + notRun.size());
  Figure("targets").Add("built", RASTEL_TARGET_NAMES).Add("run", Names(run)).Add("notrun", Names(notRun));
}

}  // namespace
}  // namespace tests
