// Rows of pixels between pages without access, converted by every target.
#include <algorithm>
#include <cstdio>
#include <limits>
#include <list>

#include "figures.h"
#include "pixels/converter.h"
#include "pixels/targets.h"
#include "row_cases.h"
#include "row_memory.h"

namespace rastel::pixels {
// The widest geometry without the CPU's instructions for it: it runs everywhere.
std::remove_pointer_t<KernelFinder> FindKernel_wide_plain;
}  // namespace rastel::pixels

namespace tests {
namespace {

using rastel::pixels::Converter;
using rastel::pixels::Rows;
using rastel::pixels::Target;

/// What this processor runs and the widest geometry, or the one of them that RASTEL_TARGET asks for.
std::vector<Target> RunnableTargets() {
  std::vector<Target> targets(rastel::pixels::Targets().begin(), rastel::pixels::Targets().end());
  targets.push_back({"wide_plain", [] { return true; }, rastel::pixels::FindKernel_wide_plain});
  std::erase_if(targets, [only = WantedTarget()](const Target& target) {
    return !target.isSupported() || (!only.empty() && target.name != only);
  });
  return targets;
}

/// The widths of rows in pixels, and from how many bytes on the destination bypasses the caches.
struct Widths {
  std::ptrdiff_t first, last;
  std::int64_t threshold;
};
constexpr Widths kShort = {0, 257, std::numeric_limits<std::int64_t>::max()};
constexpr Widths kPastTheCaches = {505, 580, 0};  // some too short for it
constexpr Widths kTooShortForThat = {1, 70, 0};

/// One case, with every target.
class Trial {
 public:
  Trial(const Case& test, std::size_t number, std::int64_t threshold)
      : test_(test),
        number_(number),
        source_(test.fromStep, std::ssize(test.from), Mix(Seed(), number)),
        mask_(std::ssize(test.mask), std::ssize(test.mask), Mix(Seed(), number) + 100000),
        destination_(test.toStep, std::ssize(test.to), Mix(Seed(), number) + 200000) {
    for (std::size_t row = 0; row < kRows; ++row) {
      for (std::ptrdiff_t x = 0; x < RowMemory::kPixels; ++x) {
        test.ConvertPixel(source_.Pixel(source_.before[row], x), mask_.Pixel(mask_.before[row], x),
                          destination_.Pixel(destination_.after[row], x));
      }
    }
    for (const Target& target : targets_) {
      converters_.emplace_back(test.Made(), target.find, threshold);
    }
  }

  /// Converts rows of `width` pixels. Says what is wrong then; empty: nothing.
  std::string Run(std::ptrdiff_t width, std::uint32_t placement) {
    width_ = width;
    placement_ = placement;
    const std::uint64_t salt = Mix(Seed(), number_ * 1000 + static_cast<std::size_t>(width));
    const auto first = static_cast<std::ptrdiff_t>(salt % 380);
    for (std::size_t side = 0; RowMemory * memory : {&source_, &destination_, &mask_}) {
      memory->Place(Drawn(salt + placement, side++), first, width);
    }
    source_.Write(source_.before);
    mask_.Write(mask_.before);
    std::string difference;
    auto target = targets_.begin();
    for (const Converter& converter : converters_) {
      target_ = (target++)->name;
      difference += Convert(converter, source_, destination_.before);
      // Source and destination may be the same rows if their pixels have the same size.
      if (test_.from.size() == test_.to.size() && test_.fromStep == test_.toStep && !test_.KeepsBytes()) {
        difference += Convert(converter, destination_, source_.before);
      }
    }
    return difference + source_.Difference() + mask_.Difference();
  }

  /// The point that runs.
  std::string Text() const {
    return std::string("target ") + target_ + ", " + test_.Text() + ", width " + std::to_string(width_) +
           "; repeat with: " + Repeat(std::to_string(number_) + "," + std::to_string(placement_), "Rows.*");
  }

  std::int64_t count = 0;  // of rows

 private:
  /// Right behind or right before a page without access the first four times, in turn, and then anywhere. In
  /// most cases all sides are arranged alike.
  Placement Drawn(std::uint64_t turn, std::size_t side) const {
    const std::uint64_t bits = Mix(turn, side);
    return {
        .arrangement = static_cast<Arrangement>(((bits >> 8) % 4 == 0 ? bits >> 16 : turn) % kArrangements),
        .atEnd = (turn >> side & 1) != 0,
        .distance = placement_ < 4 ? 0 : static_cast<std::ptrdiff_t>(bits % 64),
        .gap = static_cast<std::ptrdiff_t>((bits >> 24) % 7 + 1)};
  }

  std::string Convert(const Converter& converter, const RowMemory& source, const RowContents& contents) {
    destination_.Write(contents);
    Rows rows{
        .destination = destination_.places(), .source = source.places(), .width = width_, .count = kRows};
    if (test_.HasMask()) {
      rows.mask = mask_.places();
    }
    converter.Convert(rows);
    count += kRows;
    const std::string difference = destination_.Difference();
    return difference.empty() ? "" : difference + " with " + target_ + "\n";
  }

  const Case& test_;
  std::size_t number_;
  RowMemory source_, mask_, destination_;
  std::vector<Target> targets_ = RunnableTargets();
  std::list<Converter> converters_;

  // The point that runs.
  std::ptrdiff_t width_ = 0;
  std::uint32_t placement_ = 0;
  const char* target_ = "";
};

/// Runs all cases up to the first difference, in `placements` places each, and gives how many rows there
/// were.
std::int64_t CheckRows(const Widths& widths, std::uint32_t placements) {
  std::size_t wantedCase = 0;
  std::uint32_t firstPlacement = 0;
  const bool isOne = std::sscanf(WantedPoint().c_str(), "%zu,%u", &wantedCase, &firstPlacement) == 2;
  const std::uint32_t end = isOne ? firstPlacement + 1 : placements;
  std::int64_t count = 0;
  for (std::size_t number = 0; const Case& test : AllCases()) {
    if (!isOne || number == wantedCase) {
      Trial trial(test, number, widths.threshold);
      const CrashNote note([&] { return trial.Text(); });
      for (std::ptrdiff_t width = widths.first; width <= widths.last; ++width) {
        for (std::uint32_t placement = firstPlacement; placement < end && !testing::Test::HasFailure();
             ++placement) {
          EXPECT_EQ("", trial.Run(width, placement)) << trial.Text();
        }
      }
      count += trial.count;
    }
    ++number;
  }
  return count;
}

TEST(Rows, AreExactBetweenPagesWithoutAccess) {
  const auto placements = std::max(1U, static_cast<std::uint32_t>(4 * Soak()));
  const std::int64_t rows = CheckRows(kShort, placements) + CheckRows(kTooShortForThat, placements);
  const std::int64_t streamed = CheckRows(kPastTheCaches, placements);
  EXPECT_GT(rows, 0);
  EXPECT_GT(streamed, 0);
  std::string targets;
  for (const Target& target : RunnableTargets()) {
    targets += (targets.empty() ? "" : ",") + std::string(target.name);
  }
  Figure("rows")
      .Add("cases", rows + streamed)
      .Add("streamed", streamed)
      .Add("differences", HasFailure() ? 1 : 0)
      .Add("targets", targets);
}

/// A test of the test: nothing past the first or the last row can be read unnoticed.
TEST(Rows, LieNextToPagesWithoutAccess) {
  RowMemory memory(4, 4, 0);
  for (std::size_t i = 0; i < kArrangements; ++i) {
    for (const bool atEnd : {false, true}) {
      memory.Place({.arrangement = static_cast<Arrangement>(i), .atEnd = atEnd}, 0, 37);
      const std::uint8_t* row = memory.places()[atEnd ? kRows - 1 : 0];
      EXPECT_DEATH(std::printf("%d", row[atEnd ? std::ptrdiff_t{37} * 4 : -1]), "") << i;
    }
  }
}

}  // namespace
}  // namespace tests
