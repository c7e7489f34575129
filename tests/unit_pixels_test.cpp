// Which CPU targets there are, and which of them are taken.
#include <gtest/gtest.h>
#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include <optional>
#include <string_view>

#include "pixels/converter.h"
#include "unit_targets.h"

namespace tests {
namespace {

// Which conversions make sense: the compiler holds these.
namespace possible {

using namespace rastel::pixels;
constexpr ChannelWeights kWeights{};
constexpr ChannelTables kTables{};
static_assert(IsPossible({.from = Layout::kARGB, .to = Layout::kRed}));
static_assert(!IsPossible({.from = Layout::kRed, .to = Layout::kRGB}));
static_assert(!IsPossible({.from = Layout::kRGB, .to = Layout::kGray}));
static_assert(IsPossible({.from = Layout::kGray, .to = Layout::kRGB, .weights = &kWeights}));
static_assert(IsPossible({.from = Layout::kGray, .to = Layout::kBGRA, .tables = &kTables}));
static_assert(!IsPossible({.from = Layout::kGray, .to = Layout::kRed, .weights = &kWeights}));
static_assert(
    !IsPossible({.from = Layout::kGray, .to = Layout::kARGB, .rest = Rest::kKept, .tables = &kTables}));
static_assert(!IsPossible({.from = Layout::kRGB, .to = Layout::kARGB, .weights = &kWeights}));
static_assert(
    !IsPossible({.from = Layout::kRGB, .to = Layout::kARGB, .rest = Rest::kFromMask, .mask = Layout::kGray}));

}  // namespace possible

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
  EXPECT_EQ(RASTEL_TARGET_NAMES, Names(rastel::pixels::Targets()));
  Figure("targets")
      .Add("built", RASTEL_TARGET_NAMES)
      .Add("run", Names(RunnableTargets()))
      .Add("notrun", Names(TargetsThatRun(false)));
}

}  // namespace
}  // namespace tests
