// Rows of pixels between pages without access, converted by every target.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <list>

#include "figures.h"
#include "row_cases.h"
#include "row_memory.h"
#include "unit_targets.h"

namespace tests {
namespace {

using rastel::pixels::Converter;
using rastel::pixels::Rows;

/// The widths of rows in pixels, and from how many bytes on the destination bypasses the caches.
struct Widths {
  std::ptrdiff_t first, last;
  std::int64_t threshold;
};
constexpr Widths kShort = {0, 257, 1 << 30};
constexpr Widths kPastTheCaches = {505, 580, 0};  // some too short for it
constexpr Widths kTooShortForThat = {1, 70, 0};

/// Converts rows with every target in every width, in `placements` places each: right behind and right before
/// pages without access first, then where the seed wants them.
class Runner {
 public:
  Runner(std::vector<Target> targets, std::uint32_t placements, const Widths& widths)
      : targets_(std::move(targets)), lastPlacement_(placements), widths_(widths) {
    std::ptrdiff_t width = 0;
    if (std::sscanf(WantedPoint().c_str(), "%zu,%td,%u", &wantedCase_, &width, &firstPlacement_) == 3) {
      lastPlacement_ = firstPlacement_ + 1;
      widths_.first = std::max(width, widths.first);
      widths_.last = std::min(width, widths.last);
    }
  }

  void Check(std::size_t number, const Case& test) {
    if (wantedCase_ != kAll && wantedCase_ != number) {
      return;
    }
    caseNumber_ = number;
    test_ = &test;
    const std::uint64_t seed = Mix(Seed(), number);
    RowMemory source(test.fromStep, std::ssize(test.from), seed);
    RowMemory mask(std::ssize(test.mask), std::ssize(test.mask), seed + 100000);
    RowMemory destination(test.toStep, std::ssize(test.to), seed + 200000);
    for (std::size_t row = 0; row < kRows; ++row) {
      ConvertRow(test, source.First(source.before[row]), mask.First(mask.before[row]), RowMemory::kPixels,
                 destination.First(destination.after[row]));
    }
    std::list<Converter> converters;
    for (const Target& target : targets_) {
      converters.emplace_back(test.Made(), target.find, widths_.threshold);
    }
    for (width_ = widths_.first; width_ <= widths_.last; ++width_) {
      for (placement_ = firstPlacement_; placement_ < lastPlacement_; ++placement_) {
        CheckPlacement(source, mask, destination, converters);
      }
    }
  }

  /// The point that runs.
  std::string Text() const {
    return std::string("target ") + target_ + ", " + test_->Text() + ", width " + std::to_string(width_) +
           ", source " + sourcePlace_.Text() + ", destination " + destinationPlace_.Text() +
           "; repeat with: " +
           Repeat(
               std::to_string(caseNumber_) + "," + std::to_string(width_) + "," + std::to_string(placement_),
               "Rows.*");
  }

  std::int64_t count = 0;  // of rows
  std::int64_t differences = 0;
  std::string firstDifference;
  std::function<void(const Rows&)> afterwards;  // is called after each conversion

 private:
  static constexpr auto kAll = static_cast<std::size_t>(-1);

  void ChoosePlaces(std::uint64_t salt) {
    auto drawn = [&, bits = Mix(salt, placement_)]() mutable {
      bits = Mix(bits, 1);
      return Placement{(bits & 1) != 0, static_cast<std::ptrdiff_t>(bits >> 1 & 63),
                       static_cast<Stride>((bits >> 8) % kStrides)};
    };
    sourcePlace_ = drawn();
    destinationPlace_ = drawn();
    maskPlace_ = drawn();
    if (placement_ < 4) {
      const std::uint64_t turn = salt / 16 + placement_;
      const auto stride = static_cast<Stride>(turn % kStrides);
      sourcePlace_ = {(turn & 1) != 0, 0, stride};
      destinationPlace_ = {(turn & 2) != 0, 0, stride};
      maskPlace_ = {sourcePlace_.atEnd, 0, (salt & 8) != 0 ? stride : maskPlace_.stride};
    }
  }

  void CheckPlacement(RowMemory& source, RowMemory& mask, RowMemory& destination,
                      const std::list<Converter>& converters) {
    const std::uint64_t salt = Mix(Seed(), caseNumber_ * 1000 + static_cast<std::size_t>(width_));
    const auto first = static_cast<std::ptrdiff_t>(salt % 380);
    const auto gap = static_cast<std::ptrdiff_t>(salt % 7) + 1;
    ChoosePlaces(salt);
    source.Place(sourcePlace_, width_, first, gap);
    source.Write(source.before);
    mask.Place(maskPlace_, width_, first, gap);
    mask.Write(mask.before);
    destination.Place(destinationPlace_, width_, first, 8 - gap);
    auto target = targets_.begin();
    for (const Converter& converter : converters) {
      target_ = (target++)->name;
      destination.Write(destination.before);
      Convert(converter, source, mask, destination);
      // Source and destination may be the same rows if their pixels have the same size.
      if (test_->from.size() == test_->to.size() && test_->fromStep == test_->toStep &&
          !test_->KeepsBytes()) {
        destination.Write(source.before);
        Convert(converter, destination, mask, destination);
      }
    }
    Expect(source, "the source: ");
    Expect(mask, "the mask: ");
  }

  void Convert(const Converter& converter, const RowMemory& source, const RowMemory& mask,
               const RowMemory& destination) {
    Rows rows{
        .destination = destination.places(), .source = source.places(), .width = width_, .count = kRows};
    if (test_->HasMask()) {
      rows.mask = mask.places();
    }
    converter.Convert(rows);
    count += kRows;
    if (afterwards) {
      afterwards(rows);
    }
    Expect(destination, "");
  }

  void Expect(const RowMemory& memory, const char* what) {
    const std::string difference = memory.Difference();
    if (!difference.empty() && differences++ == 0) {
      firstDifference = what + difference + ": " + Text();
    }
  }

  std::vector<Target> targets_;
  std::uint32_t firstPlacement_ = 0, lastPlacement_;
  Widths widths_;
  std::size_t wantedCase_ = kAll;

  // The point that runs.
  const Case* test_ = nullptr;
  std::size_t caseNumber_ = 0;
  std::ptrdiff_t width_ = 0;
  std::uint32_t placement_ = 0;
  Placement sourcePlace_ = {}, maskPlace_ = {}, destinationPlace_ = {};
  const char* target_ = "";
};

/// Runs all cases, up to the first with differences, and gives how many rows there were.
std::int64_t CheckRows(std::uint32_t placements, const Widths& widths, std::int64_t& differences) {
  Runner runner(RunnableTargets(), placements, widths);
  const CrashNote note([&] { return runner.Text(); });
  const std::vector<Case> cases = AllCases();
  for (std::size_t i = 0; i < cases.size() && runner.differences == 0; ++i) {
    runner.Check(i, cases[i]);
  }
  EXPECT_EQ(0, runner.differences) << runner.firstDifference;
  differences += runner.differences;
  return runner.count;
}

TEST(Rows, AreExactBetweenPagesWithoutAccess) {
  const auto placements = std::max(1U, static_cast<std::uint32_t>(4 * Soak()));
  const auto few = std::min(placements, std::max(4U, placements / 8));
  std::int64_t differences = 0;
  const std::int64_t rows =
      CheckRows(placements, kShort, differences) + CheckRows(few, kTooShortForThat, differences);
  const std::int64_t streamed = CheckRows(few, kPastTheCaches, differences);
  EXPECT_GT(rows, 0);
  EXPECT_GT(streamed, 0);
  Figure("rows")
      .Add("cases", rows + streamed)
      .Add("streamed", streamed)
      .Add("differences", differences)
      .Add("targets", Names(RunnableTargets()))
      .Add("notrun", Names(TargetsThatRun(false)));
}

/// A test of the test: memory and places are such that nothing past a row's end can be read unnoticed.
TEST(Rows, AreNotReadPastTheirEnd) {
  const auto readOn = [] {
    Runner runner({rastel::pixels::BestTarget()}, 4, {37, 37, 1 << 30});
    const CrashNote note([&] { return runner.Text(); });
    runner.afterwards = [](const Rows& rows) {
      const volatile std::uint8_t* end = rows.source[rows.count - 1] + rows.width * 4;
      static_cast<void>(*end);
    };
    runner.Check(0, {.from = "ARGB", .to = "RGBA"});
    std::_Exit(0);
  };
  EXPECT_EXIT(
      readOn(), [](int status) { return status != 0; },
      "memory without access: target .*, width 37, .*repeat with");
}

}  // namespace
}  // namespace tests
