#include "bench/cases.h"

#include <algorithm>
#include <string_view>

#include "pixels/targets.h"

namespace bench {
namespace {

using enum rastel::pixels::Layout;

constexpr Goals kSameSize = {0.95, 1.15, 0.90, 1.0};
constexpr Goals kWiden = {0.85, 1.15, 0.90, 1.0};
constexpr Goals kWidenAlphaFirst = {0.85, 1.15, 0.90, 1.9};
constexpr Goals kNarrow = {0.85, 1.05, 0.80, 2.0};
constexpr Goals kSwap = {0.80, 1.0, 1.3, 1.4};
constexpr Goals kGrayTo4 = {0.75, 1.5, 1.6, 1.2};
constexpr Goals kGrayTo3 = {0.75, 1.5, 1.6, 2.3};
constexpr Goals kWeighted = {0.45, 1.1, 1.3, 3.0};
constexpr Goals kWeightedStep4 = {0.45, 1.1, 0.65, 3.0};
constexpr Goals kPaletteTo4 = {0.22, 0.70, 0.75, 1.8};
constexpr Goals kPaletteTo3 = {0.15, 0.55, 0.55, 3.0};
constexpr Goals kMasked = {0.90, 1.3, 0.90, 1.4};
constexpr Goals kMasked12 = {0.90, 1.3, 0.90, 6.0};
constexpr Goals kPadded = {0.75, 0.90, 0.55, 6.0};
constexpr Goals kChannel = {0.80, 0.90, 1.1, 1.25};
constexpr Goals kChannel12 = {0.80, 0.90, 1.1, 5.0};
constexpr Goals kChannelStep4 = {0.65, 0.90, 0.55, 1.4};
constexpr Goals kChannelStep4Of12 = {0.65, 0.90, 0.55, 2.0};

// Not level, but no further below than two runs of the same function are apart.
constexpr double kLevel = 0.95;

constexpr double kVgaWithWideShuffles = 0.90;
constexpr double kVgaWithWideLookUps = 0.50;

bool HasWideShuffles() {
  return std::string_view(rastel::pixels::BestTarget().name) == "avx512vbmi";
}

}  // namespace

std::span<const Family> Families() {
  static const std::vector<Family> families = {
      {"4 → 4", "PtrRGBAtoPictureKVZ", Shape::kToPictureFlip, kRGBA, 4, {13, 8}, kSameSize},
      {"constant alpha", "CopyRGBAtoMemoryblockKVZ", Shape::kToBlockAlpha, kRGBA, 4, {13, 8}, kSameSize},
      {"3 → 4", "PtrRGBtoPictureKVZ", Shape::kToPicture, kRGB, 3, {13}, kWidenAlphaFirst},
      {"3 → 4", "PtrRGBtoPictureKVZ", Shape::kToPicture, kRGB, 3, {8}, kWiden},
      {"3 → 4", "CopyRGBAtoMemoryblockKVZ", Shape::kToBlockAlpha, kRGBA, 4, {12}, kWiden},
      {"4 → 3", "PtrRGBAtoPictureKVZ", Shape::kToPictureFlip, kRGBA, 4, {12}, kNarrow},
      {"4 → 3", "CopyRGBtoMemoryblockKVZ", Shape::kToBlock, kRGB, 3, {13, 8}, kNarrow},
      {"3 → 3 swapped", "PtrBGRtoPictureKVZ", Shape::kToPicture, kBGR, 3, {12}, kSwap},
      {"3 → 3 swapped", "CopyBGRtoMemoryblockKVZ", Shape::kToBlock, kBGR, 3, {12}, kSwap},
      {"gray", "PtrGrayToPictureKVZ", Shape::kGray, kGray, 1, {13, 8}, kGrayTo4},
      {"gray", "PtrGrayToPictureKVZ", Shape::kGray, kGray, 1, {12}, kGrayTo3},
      {"gray, step 4", "PtrGrayToPictureKVZ", Shape::kGray, kGray, 4, {13, 8}, kSameSize},
      {"gray, step 4", "PtrGrayToPictureKVZ", Shape::kGray, kGray, 4, {12}, kNarrow},
      {"weighted gray", "PtrGrayToPictureKVZ", Shape::kWeighted, kGray, 1, {13, 12, 8}, kWeighted},
      {"weighted gray, step 4",
       "PtrGrayToPictureKVZ",
       Shape::kWeighted,
       kGray,
       4,
       {13, 12, 8},
       kWeightedStep4},
      {"palette", "PtrGrayToPictureKVZ", Shape::kPalette, kGray, 1, {13, 8}, kPaletteTo4},
      {"palette", "PtrGrayToPictureKVZ", Shape::kPalette, kGray, 1, {12}, kPaletteTo3},
      {"mask as alpha", "CopyRGBAtoMemoryblockKVZ", Shape::kToBlockMask, kRGBA, 4, {13, 8}, kMasked},
      {"mask as alpha", "CopyRGBAtoMemoryblockKVZ", Shape::kToBlockMask, kRGBA, 4, {12}, kMasked12},
      {"padded X", "CopyRGBXtoMemoryblockKVZ", Shape::kToBlock, kRGBA, 4, {13, 12, 8}, kPadded},
      {"channel", "CopyRtoMemoryblockKVZ", Shape::kToBlockChannel, kRed, 1, {13, 8}, kChannel},
      {"channel", "CopyRtoMemoryblockKVZ", Shape::kToBlockChannel, kRed, 1, {12}, kChannel12},
      {"channel, step 4", "CopyRtoMemoryblockKVZ", Shape::kToBlockChannel, kRed, 4, {13, 8}, kChannelStep4},
      {"channel, step 4", "CopyRtoMemoryblockKVZ", Shape::kToBlockChannel, kRed, 4, {12}, kChannelStep4Of12},
  };
  return families;
}

std::span<const Size> Sizes() {
  static const Size sizes[] = {
      {16, 16, 0, 0, 200, 40, Measure::kMicroseconds, nullptr, false},
      {100, 100, 0, 0, 40, 40, Measure::kRate, nullptr, false},
      {640, 480, 0, 0, 4, 240, Measure::kLimit, &Goals::vga, true},
      {641, 479, 1, 5, 4, 120, Measure::kRate, nullptr, false},
      {1920, 1080, 0, 0, 2, 60, Measure::kLimit, &Goals::hd, false},
      {4096, 4096, 0, 0, 1, 10, Measure::kLimit, &Goals::large, true},
  };
  return sizes;
}

std::string Size::Name() const {
  return std::to_string(width) + "x" + std::to_string(height);
}

std::string Case::Name() const {
  return std::string(family->name) + "/" + family->method + "/" + std::to_string(pixelType) + "/" +
         size->Name();
}

std::vector<Case> Cases() {
  std::vector<Case> cases;
  for (const Family& family : Families()) {
    for (const int pixelType : family.pixelTypes) {
      for (const Size& size : Sizes()) {
        cases.push_back({&family, pixelType, &size});
      }
    }
  }
  return cases;
}

double GoalOf(const Case& one) {
  switch (one.size->measure) {
    case Measure::kMicroseconds:
      return kMostMicroseconds;
    case Measure::kRate:
      return one.size->width < 200 ? kLeastRateOfShortRows : kLeastRateOfOddRows;
    default:
      break;
  }
  const double goal = one.family->goals.*one.size->goal;
  if (one.size->goal != &Goals::vga || !HasWideShuffles()) {
    return goal;
  }
  return one.family->shape == Shape::kPalette ? kVgaWithWideLookUps : std::max(goal, kVgaWithWideShuffles);
}

double PeerGoalOf(const Case& one) {
  if (one.size->measure != Measure::kLimit) {
    return 0;
  }
  const bool hasOwn = one.size->goal == &Goals::vga && one.family->goals.peer > 1;
  return hasOwn ? one.family->goals.peer : kLevel;
}

}  // namespace bench
