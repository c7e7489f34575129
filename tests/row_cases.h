// The kinds of conversion that rows are tested with.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "devhost/oracle.h"
#include "pixels/conversion.h"
#include "support.h"

namespace tests {

using rastel::pixels::ChannelTables;
using rastel::pixels::ChannelWeights;
using rastel::pixels::Layout;
using rastel::pixels::Rest;

inline constexpr std::uint8_t kFill = 0x5C;

inline Layout LayoutOf(std::string letters) {
  static const std::map<std::string, Layout> layouts = {
      {"RGB", Layout::kRGB},   {"BGR", Layout::kBGR},   {"ARGB", Layout::kARGB}, {"ABGR", Layout::kABGR},
      {"RGBA", Layout::kRGBA}, {"BGRA", Layout::kBGRA}, {"Y", Layout::kGray},    {"R", Layout::kRed},
      {"G", Layout::kGreen},   {"B", Layout::kBlue}};
  std::ranges::replace_if(
      letters, [](char letter) { return letter == 'X' || letter == 'M'; }, 'A');
  return layouts.at(letters);
}

/// One kind of conversion, in the letters of layouts. In `to` an A is filled, an M made from the mask, and an
/// X left alone.
struct Case {
  std::string from, to;
  std::string mask = "ARGB";
  std::ptrdiff_t fromStep = std::ssize(from), toStep = std::ssize(to);
  const ChannelWeights* weights = nullptr;
  const ChannelTables* tables = nullptr;

  bool HasMask() const { return to.find('M') != std::string::npos; }
  bool KeepsBytes() const { return to.find('X') != std::string::npos; }

  rastel::pixels::Conversion Made() const {
    return {.from = LayoutOf(from),
            .to = LayoutOf(to),
            .rest = HasMask()      ? Rest::kFromMask
                    : KeepsBytes() ? Rest::kKept
                                   : Rest::kFill,
            .fill = kFill,
            .mask = LayoutOf(mask),
            .fromStep = fromStep,
            .toStep = toStep,
            .weights = weights,
            .tables = tables};
  }

  std::string Text() const {
    return from + " (step " + std::to_string(fromStep) + ") to " + to + " (step " + std::to_string(toStep) +
           ")" + (HasMask() ? ", mask " + mask : "") + (weights != nullptr ? ", weighted" : "") +
           (tables != nullptr ? ", looked up" : "");
  }

  /// What becomes of a pixel.
  void ConvertPixel(const std::uint8_t* source, const std::uint8_t* maskPixel,
                    std::uint8_t* destination) const {
    oracle::Colour colour = oracle::ReadPixel(from, source);
    if (weights != nullptr) {
      const auto& [red, green, blue] = weights->values;
      colour = {oracle::Weigh(colour.red, red), oracle::Weigh(colour.green, green),
                oracle::Weigh(colour.blue, blue)};
    }
    if (tables != nullptr) {
      const auto& [red, green, blue] = tables->values;
      colour = {red[colour.red], green[colour.green], blue[colour.blue]};
    }
    oracle::WritePixel(to, colour, kFill, oracle::ReadPixel(mask, maskPixel), destination);
  }
};

inline void AddSideBySide(std::vector<Case>& cases) {
  for (const char* from : {"RGB", "BGR", "ARGB", "ABGR", "RGBA", "BGRA", "Y"}) {
    for (const char* to :
         {"RGB", "BGR", "ARGB", "ABGR", "RGBA", "BGRA", "XRGB", "XBGR", "RGBX", "BGRX", "R", "G", "B"}) {
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

inline ChannelTables NoiseTables() {
  ChannelTables tables;
  std::ranges::copy(NoiseBytes(sizeof tables, 77), &tables.values[0][0]);
  return tables;
}

inline void AddGrayAndApart(std::vector<Case>& cases) {
  static const ChannelTables tables = NoiseTables();
  static constexpr ChannelWeights kWeights[] = {{{77, 150, 29}}, {{0, 256, 32767}}, {{255, 512, 257}}};
  for (const char* picture : {"ARGB", "RGB", "BGRA"}) {
    for (const std::ptrdiff_t step : {1, 4, 3, -2}) {
      cases.push_back({.from = "Y", .to = picture, .fromStep = step, .tables = &tables});
      for (const ChannelWeights& weights : kWeights) {
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
  for (const char* to : {"XRGB", "BGRX", "RGBM"}) {
    cases.push_back({.from = "Y", .to = to, .mask = "RGB", .fromStep = 4});
  }
}

/// Every pair of layouts with every kind of fourth byte, every pair of picture and mask, pixels that are
/// apart, weights and tables.
inline std::vector<Case> AllCases() {
  std::vector<Case> cases;
  AddSideBySide(cases);
  AddGrayAndApart(cases);
  return cases;
}

}  // namespace tests
