#include "row_cases.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "devhost/oracle.h"
#include "row_memory.h"

namespace tests {
namespace {

using rastel::pixels::Conversion;
using rastel::pixels::Layout;
using rastel::pixels::Rest;

constexpr std::uint8_t kFill = 0x5C;

Layout LayoutOf(std::string letters) {
  static const std::map<std::string, Layout> layouts = {
      {"RGB", Layout::kRGB},   {"BGR", Layout::kBGR},   {"ARGB", Layout::kARGB}, {"ABGR", Layout::kABGR},
      {"RGBA", Layout::kRGBA}, {"BGRA", Layout::kBGRA}, {"Y", Layout::kGray},    {"R", Layout::kRed},
      {"G", Layout::kGreen},   {"B", Layout::kBlue}};
  std::ranges::replace_if(
      letters, [](char letter) { return letter == 'X' || letter == 'M'; }, 'A');
  return layouts.at(letters);
}

void AddColours(std::vector<Case>& cases) {
  for (const char* from : {"RGB", "BGR", "ARGB", "ABGR", "RGBA", "BGRA", "Y"}) {
    for (const char* to : {"RGB", "BGR", "ARGB", "ABGR", "RGBA", "BGRA", "XRGB", "XBGR", "RGBX", "BGRX"}) {
      cases.push_back({.from = from, .to = to});
    }
    for (const char* to : {"R", "G", "B"}) {
      cases.push_back({.from = from, .to = to});
    }
  }
  for (const char* from : {"ARGB", "RGB", "BGRA", "Y"}) {
    for (const char* mask : {"ARGB", "RGB", "BGRA"}) {
      for (const char* to : {"MRGB", "MBGR", "RGBM", "BGRM"}) {
        cases.push_back({.from = from, .to = to, .mask = mask});
      }
    }
  }
}

const rastel::pixels::ChannelTables& NoiseTables() {
  static const auto tables = [] {
    rastel::pixels::ChannelTables made;
    std::ranges::copy(NoiseBytes(sizeof made, 77), &made.values[0][0]);
    return made;
  }();
  return tables;
}

void AddGrayAndApart(std::vector<Case>& cases) {
  static const rastel::pixels::ChannelWeights kWeights[] = {
      {{77, 150, 29}}, {{0, 256, 32767}}, {{255, 512, 257}}};
  for (const char* picture : {"ARGB", "RGB", "BGRA"}) {
    for (const std::ptrdiff_t step : {1, 4, 3, -2}) {
      cases.push_back({.from = "Y", .to = picture, .fromStep = step, .tables = &NoiseTables()});
      for (const auto& weights : kWeights) {
        cases.push_back({.from = "Y", .to = picture, .fromStep = step, .weights = &weights});
      }
    }
    for (const std::ptrdiff_t step : {2, 3, 4, 5, -1, -3}) {
      cases.push_back({.from = "Y", .to = picture, .fromStep = step});
      for (const char* channel : {"R", "G", "B"}) {
        cases.push_back({.from = picture, .to = channel, .toStep = step});
      }
    }
  }
  cases.push_back({.from = "Y", .to = "XRGB", .fromStep = 4});
  cases.push_back({.from = "Y", .to = "BGRX", .fromStep = 4});
  cases.push_back({.from = "Y", .to = "RGBM", .mask = "RGB", .fromStep = 4});
}

}  // namespace

Conversion Case::Made() const {
  const Rest rest = HasMask() ? Rest::kFromMask : KeepsBytes() ? Rest::kKept : Rest::kFill;
  return {.from = LayoutOf(from),
          .to = LayoutOf(to),
          .rest = rest,
          .fill = kFill,
          .mask = LayoutOf(mask),
          .fromStep = fromStep,
          .toStep = toStep,
          .weights = weights,
          .tables = tables};
}

std::string Case::Text() const {
  return from + " (step " + std::to_string(fromStep) + ") to " + to + " (step " + std::to_string(toStep) +
         ")" + (HasMask() ? ", mask " + mask : "") + (weights != nullptr ? ", weighted" : "") +
         (tables != nullptr ? ", looked up" : "");
}

std::vector<Case> AllCases() {
  std::vector<Case> cases;
  AddColours(cases);
  AddGrayAndApart(cases);
  return cases;
}

void ConvertRow(const Case& test, const std::uint8_t* source, const std::uint8_t* mask, std::ptrdiff_t width,
                std::uint8_t* destination) {
  oracle::Buffer from{.layout = test.from, .width = 1, .height = 1, .pixelBytes = test.fromStep};
  const oracle::Buffer of{.layout = test.mask, .width = 1, .height = 1, .pixelBytes = std::ssize(test.mask)};
  if (test.weights != nullptr) {
    std::ranges::copy(test.weights->values, from.weights.emplace().begin());
  }
  if (test.tables != nullptr) {
    from.palettes.emplace();
    std::ranges::transform(test.tables->values, from.palettes->begin(), [](const auto& values) {
      return std::vector<std::int32_t>(std::begin(values), std::end(values));
    });
  }
  for (std::ptrdiff_t x = 0; x < width; ++x) {
    oracle::WritePixel(test.to, from.At(source, x, 0), kFill,
                       test.HasMask() ? of.At(mask, x, 0) : oracle::Colour{}, destination + x * test.toStep);
  }
}

}  // namespace tests
