// Which CPU targets there are, and which of them are taken.
#include <gtest/gtest.h>
#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

#include <map>
#include <string>
#include <string_view>

#include "figures.h"
#include "pixels/converter.h"
#include "pixels/targets.h"

namespace tests {
namespace {

using rastel::pixels::Target;

TEST(StreamingThreshold, IsAsLargeAsACacheMayBe) {
  EXPECT_LE(6 << 20, rastel::pixels::StreamingThreshold());
  EXPECT_GE(64 << 20, rastel::pixels::StreamingThreshold());
}

/// What the processor itself says of the targets, asked without the plug-in.
std::map<std::string_view, bool> TargetsOfProcessor() {
  std::map<std::string_view, bool> runs = {{"plain", true}, {"neon", true}};
#if defined(__x86_64__) || defined(__i386__)
  unsigned leaf1[4] = {};
  unsigned leaf7[4] = {};
  __get_cpuid(1, &leaf1[0], &leaf1[1], &leaf1[2], &leaf1[3]);
  __get_cpuid_count(7, 0, &leaf7[0], &leaf7[1], &leaf7[2], &leaf7[3]);
  runs["ssse3"] = (leaf1[2] & bit_SSSE3) != 0;
  runs["avx2"] = (leaf7[1] & bit_AVX2) != 0;
  runs["avx512vbmi"] =
      (leaf7[1] & bit_AVX512BW) != 0 && (leaf7[1] & bit_AVX512VL) != 0 && (leaf7[2] & bit_AVX512VBMI) != 0;
#endif
  return runs;
}

TEST(TargetList, NamesEveryTargetThatWasBuiltAndSkipsNoneThatRuns) {
  const std::map<std::string_view, bool> runs = TargetsOfProcessor();
  std::string all, run, notRun;
  for (const Target& target : rastel::pixels::Targets()) {
    ASSERT_TRUE(runs.contains(target.name)) << "which processors run " << target.name << '?';
    EXPECT_EQ(runs.at(target.name), target.isSupported()) << target.name;
    if (run.empty() && target.isSupported()) {
      EXPECT_STREQ(target.name, rastel::pixels::BestTarget().name) << "the first one that runs";
    }
    for (std::string* names : {&all, target.isSupported() ? &run : &notRun}) {
      *names += (names->empty() ? "" : ",") + std::string(target.name);
    }
  }
  EXPECT_EQ(RASTEL_TARGET_NAMES, all);
  EXPECT_TRUE(rastel::pixels::Targets().back().isSupported());
  Figure("targets").Add("built", all).Add("run", run).Add("notrun", notRun);
}

}  // namespace
}  // namespace tests
