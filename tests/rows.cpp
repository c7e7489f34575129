#include "rows.h"

#include <algorithm>
#include <cstdio>
#include <memory>

#include "crash_note.h"
#include "devhost/oracle.h"
#include "figures.h"
#include "row_memory.h"
#include "support.h"

namespace rastel::pixels {
// The widest geometry without the CPU's instructions for it: it runs everywhere.
void FindKernel_wide_plain(Plan& plan);
}  // namespace rastel::pixels

namespace tests {

using rastel::pixels::Conversion;
using rastel::pixels::Converter;
using rastel::pixels::Layout;
using rastel::pixels::Rest;
using rastel::pixels::Rows;
using rastel::pixels::Target;

const std::vector<NamedLayout> kColours = {{"RGB", Layout::kRGB},   {"BGR", Layout::kBGR},
                                           {".RGB", Layout::kARGB}, {".BGR", Layout::kABGR},
                                           {"RGB.", Layout::kRGBA}, {"BGR.", Layout::kBGRA}};
const std::vector<NamedLayout> kChannels = {{"R", Layout::kRed}, {"G", Layout::kGreen}, {"B", Layout::kBlue}};
const NamedLayout kGray = {"Y", Layout::kGray};
const std::vector<NamedLayout> kPictures = {kColours[2], kColours[0], kColours[5]};

namespace {

constexpr std::uint8_t kFill = 0x5C;
constexpr std::ptrdiff_t kPixels = 960;  // that rows are windows of

/// What a case makes of rows of kPixels pixels, computed once.
class Expectation {
 public:
  explicit Expectation(const Case& test, std::uint64_t seed) {
    for (int row = 0; row < kRows; ++row) {
      Fill(source_[row], test.fromStep, seed + 1 + 10 * row);
      Fill(mask_[row], test.mask.Length(), seed + 2 + 10 * row);
      Fill(before_[row], test.toStep, seed + 3 + 10 * row);
      after_[row] = before_[row];
      for (std::ptrdiff_t x = 0; x < kPixels; ++x) {
        for (std::ptrdiff_t i = 0; i < test.to.Length(); ++i) {
          auto& byte = after_[row][static_cast<std::size_t>(x * test.toStep + i)];
          byte = Byte(test, test.to.letters[static_cast<std::size_t>(i)],
                      &source_[row][0] + x * test.fromStep, &mask_[row][0] + x * test.mask.Length(), byte);
        }
      }
    }
  }

  using RowsOfBytes = std::array<RowBytes, kRows>;
  RowsOfBytes Source(std::ptrdiff_t offset) const { return From(source_, source_, offset); }
  RowsOfBytes Mask(std::ptrdiff_t offset) const { return From(mask_, mask_, offset); }
  RowsOfBytes Destination(std::ptrdiff_t offset) const { return From(before_, after_, offset); }

 private:
  using Bytes3 = std::array<Bytes, kRows>;

  static void Fill(Bytes& bytes, std::ptrdiff_t step, std::uint64_t seed) {
    bytes.resize(static_cast<std::size_t>(kPixels * step + 8));
    std::generate(bytes.begin(), bytes.end(), [i = Mix(seed, 0)]() mutable { return Noise(i++); });
  }

  static RowsOfBytes From(const Bytes3& before, const Bytes3& after, std::ptrdiff_t offset) {
    RowsOfBytes rows;
    for (int row = 0; row < kRows; ++row) {
      rows[row] = {before[row].data() + offset, after[row].data() + offset};
    }
    return rows;
  }

  static std::uint8_t Byte(const Case& test, char letter, const std::uint8_t* source,
                           const std::uint8_t* mask, std::uint8_t before) {
    if (letter == '.') {
      return test.rest == Rest::kFill   ? kFill
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

  Bytes3 source_, mask_, before_, after_;
};

/// The point that runs, for the case that a page without access is touched.
struct Running {
  const char* target;
  const Case* test;
  std::size_t caseNumber;
  std::ptrdiff_t width;
  std::uint32_t placement;
  Placement source, destination;
  std::uintptr_t sourceAddress, destinationAddress;
};
Running running = {};

std::string RunningText() {
  const auto place = [](const Placement& placement, std::uintptr_t address) {
    return std::string(placement.atEnd ? "ends " : "begins ") + std::to_string(placement.distance) +
           " bytes from a page without access (alignment " + std::to_string(address % 64) + " of 64), rows " +
           kStrideNames[static_cast<int>(placement.stride)];
  };
  return std::string("target ") + running.target + ", " + running.test->Text() + ", width " +
         std::to_string(running.width) + ", seed " + std::to_string(Seed()) + ", source " +
         place(running.source, running.sourceAddress) + ", destination " +
         place(running.destination, running.destinationAddress) + "; repeat with: " +
         Repeat(std::to_string(running.caseNumber) + "," + std::to_string(running.width) + "," +
                    std::to_string(running.placement),
                "Rows.*");
}

/// The places that `number` stands for. The first four put every row next to a page without access; the
/// others go through all combinations of sides, 64 distances and strides of both, in an order that the seed
/// begins.
void PlacementOf(std::uint32_t number, std::uint64_t salt, Placement& source, Placement& destination) {
  const auto stride = [](std::uint32_t bits) { return static_cast<Stride>(bits & 3); };
  if (number < 4) {
    const auto turn = static_cast<std::uint32_t>(salt + number / 2 * 2);
    source = {(number & 1) != 0, 0, stride(turn)};
    destination = {(number & 2) == 0, 0, stride(turn)};
    return;
  }
  const std::uint32_t bits = (number * 0x9E3779B1U + static_cast<std::uint32_t>(salt)) & 0x3FFFF;
  source = {(bits >> 16 & 1) != 0, static_cast<std::ptrdiff_t>(bits >> 10 & 63), stride(bits)};
  destination = {(bits >> 17 & 1) != 0, static_cast<std::ptrdiff_t>(bits >> 4 & 63), stride(bits >> 2)};
}

/// Bytes from the first pixel's first byte to the last one's last.
std::ptrdiff_t Extent(std::ptrdiff_t width, std::ptrdiff_t step, std::ptrdiff_t pixel) {
  return width == 0 ? 0 : (width - 1) * step + pixel;
}

class Runner {
 public:
  Runner(const std::vector<Target>& targets, std::uint32_t placements, const Widths& widths)
      : targets_(targets), placements_(placements), widths_(widths) {
    if (std::sscanf(WantedPoint().c_str(), "%d,%d,%d", &wantedCase_, &wantedWidth_, &wantedPlacement_) == 3) {
      placements_ = 0;
    }
  }

  void Check(std::size_t caseNumber, const Case& test) {
    if (wantedCase_ >= 0 && wantedCase_ != static_cast<int>(caseNumber)) {
      return;
    }
    running.test = &test;
    running.caseNumber = caseNumber;
    const Expectation expectation(test, Mix(Seed(), caseNumber));
    std::vector<std::unique_ptr<Converter>> converters;
    for (const Target& target : targets_) {
      converters.push_back(std::make_unique<Converter>(test.Made(), target.find, widths_.threshold));
    }
    for (std::ptrdiff_t width = widths_.first; width <= widths_.last; ++width) {
      if (wantedWidth_ >= 0 && wantedWidth_ != width) {
        continue;
      }
      running.width = width;
      const std::uint64_t salt = Mix(Seed(), caseNumber * 1000 + static_cast<std::size_t>(width));
      Make(test, expectation, width, static_cast<std::ptrdiff_t>(salt % 380), salt % 7 + 1);
      for (std::uint32_t number = 0; number < placements_; ++number) {
        CheckPlacement(converters, number, salt);
      }
      if (wantedPlacement_ >= 0) {
        CheckPlacement(converters, static_cast<std::uint32_t>(wantedPlacement_), salt);
      }
    }
  }

  RowCount count;

 private:
  void Make(const Case& test, const Expectation& expectation, std::ptrdiff_t width, std::ptrdiff_t shift,
            std::uint64_t gap) {
    const std::ptrdiff_t maskLength = test.mask.Length();
    const auto more = static_cast<std::ptrdiff_t>(gap);
    source_.Make(expectation.Source(shift * test.fromStep), Extent(width, test.fromStep, test.from.Length()),
                 width * test.fromStep, more);
    destination_.Make(expectation.Destination(shift * test.toStep),
                      Extent(width, test.toStep, test.to.Length()), width * test.toStep, 8 - more);
    hasMask_ = test.rest == Rest::kFromMask;
    if (hasMask_) {
      mask_.Make(expectation.Mask(shift * maskLength), width * maskLength, width * maskLength, more);
    }
  }

  void CheckPlacement(const std::vector<std::unique_ptr<Converter>>& converters, std::uint32_t number,
                      std::uint64_t salt) {
    running.placement = number;
    PlacementOf(number, salt, running.source, running.destination);
    source_.Place(running.source);
    source_.Reset();
    destination_.Place(running.destination);
    if (hasMask_) {
      Placement mask = running.source;
      mask.distance = number < 4 ? 0 : 63 - running.destination.distance;
      mask.stride = static_cast<Stride>((salt / 4 + number) & 3);
      mask_.Place(mask);
      mask_.Reset();
    }
    Rows rows{.destination = {destination_.first(), destination_.stride()},
              .source = {source_.first(), source_.stride()},
              .width = running.width,
              .count = kRows};
    if (hasMask_) {
      rows.mask = {mask_.first(), mask_.stride()};
    }
    running.sourceAddress = reinterpret_cast<std::uintptr_t>(rows.source.first);
    running.destinationAddress = reinterpret_cast<std::uintptr_t>(rows.destination.first);
    for (std::size_t i = 0; i < converters.size(); ++i) {
      running.target = targets_[i].name;
      destination_.Reset();
      converters[i]->Convert(rows);
      count.rows += kRows;
      CheckSide(destination_, "");
    }
    CheckSide(source_, "the source: ");
    if (hasMask_) {
      CheckSide(mask_, "the mask: ");
    }
  }

  void CheckSide(const Side& side, const char* what) {
    if (!side.IsAsAfter()) {
      if (count.differences++ == 0) {
        count.first = what + side.Difference() + ": " + RunningText();
      }
    }
  }

  const std::vector<Target>& targets_;
  std::uint32_t placements_;
  Widths widths_;
  int wantedCase_ = -1, wantedWidth_ = -1, wantedPlacement_ = -1;
  Side source_, mask_, destination_;
  bool hasMask_ = false;
};

void AddPairs(std::vector<Case>& cases) {
  std::vector<NamedLayout> sources = kColours;
  sources.push_back(kGray);
  std::vector<NamedLayout> destinations = kColours;
  destinations.insert(destinations.end(), kChannels.begin(), kChannels.end());
  for (const NamedLayout& from : sources) {
    for (const NamedLayout& to : destinations) {
      cases.push_back({.from = from, .to = to});
      if (to.Length() == 4) {
        cases.push_back({.from = from, .to = to, .rest = Rest::kKept});
      }
    }
  }
  for (const NamedLayout& from : kPictures) {
    for (const NamedLayout& mask : kPictures) {
      for (std::size_t to = 2; to < kColours.size(); ++to) {
        cases.push_back({.from = from, .to = kColours[to], .mask = mask, .rest = Rest::kFromMask});
      }
    }
  }
}

void AddGray(std::vector<Case>& cases) {
  static rastel::pixels::ChannelTables tables;
  std::uint64_t seed = 77;
  for (auto& channel : tables.values) {
    std::generate(std::begin(channel), std::end(channel), [&seed] { return Noise(seed++); });
  }
  static const rastel::pixels::ChannelWeights kWeights[] = {
      {{77, 150, 29}}, {{0, 256, 32767}}, {{255, 512, 257}}};
  for (const NamedLayout& picture : kPictures) {
    for (const std::ptrdiff_t step : {1, 4, 3}) {
      cases.push_back({.from = kGray, .to = picture, .fromStep = step, .tables = &tables});
      for (const auto& weights : kWeights) {
        cases.push_back({.from = kGray, .to = picture, .fromStep = step, .weights = &weights});
      }
    }
    if (picture.Length() == 4) {
      cases.push_back({.from = kGray, .to = picture, .rest = Rest::kKept, .fromStep = 4});
    }
    for (const std::ptrdiff_t step : {2, 3, 4, 5}) {
      cases.push_back({.from = kGray, .to = picture, .fromStep = step});
      for (const NamedLayout& channel : kChannels) {
        cases.push_back({.from = picture, .to = channel, .toStep = step});
      }
    }
  }
}

}  // namespace

Conversion Case::Made() const {
  Conversion conversion{.from = from.layout, .to = to.layout, .rest = rest, .fill = kFill};
  conversion.mask = mask.layout;
  conversion.fromStep = fromStep;
  conversion.toStep = toStep;
  conversion.weights = weights;
  conversion.tables = tables;
  return conversion;
}

std::string Case::Text() const {
  constexpr const char* kRests[] = {"filled", "kept", "from the mask "};
  const auto restText = std::string(kRests[static_cast<int>(rest)]);
  const char* gray = weights != nullptr ? ", weighted" : tables != nullptr ? ", looked up" : "";
  return std::string(from.letters) + " (step " + std::to_string(fromStep) + ") to " +
         std::string(to.letters) + " (step " + std::to_string(toStep) + "), rest " + restText +
         (rest == Rest::kFromMask ? std::string(mask.letters) : "") + gray;
}

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  AddPairs(cases);
  AddGray(cases);
  return cases;
}

std::vector<Target> RunnableTargets() {
  std::vector<Target> targets;
  std::ranges::copy_if(rastel::pixels::Targets(), std::back_inserter(targets),
                       [](const Target& target) { return target.isSupported(); });
  targets.push_back({"wide_plain", [] { return true; }, rastel::pixels::FindKernel_wide_plain});
  if (const std::string wanted = WantedTarget(); !wanted.empty()) {
    std::erase_if(targets, [&](const Target& target) { return target.name != wanted; });
  }
  return targets;
}

RowCount CheckRows(const std::vector<Case>& cases, const std::vector<Target>& targets,
                   std::uint32_t placements, const Widths& widths) {
  const CrashNote note(RunningText);
  Runner runner(targets, placements, widths);
  for (std::size_t i = 0; i < cases.size() && runner.count.differences == 0; ++i) {
    runner.Check(i, cases[i]);
  }
  return runner.count;
}

}  // namespace tests
