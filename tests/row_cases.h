// The kinds of conversion that rows are tested with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "pixels/conversion.h"

namespace tests {

/// One kind of conversion, in the letters of layouts. In `to` an A is filled, an M made from the mask, and an
/// X left alone.
struct Case {
  std::string from, to;
  std::string mask = "ARGB";
  std::ptrdiff_t fromStep = std::ssize(from), toStep = std::ssize(to);
  const rastel::pixels::ChannelWeights* weights = nullptr;
  const rastel::pixels::ChannelTables* tables = nullptr;

  bool HasMask() const { return to.find('M') != std::string::npos; }
  bool KeepsBytes() const { return to.find('X') != std::string::npos; }
  rastel::pixels::Conversion Made() const;
  std::string Text() const;

  /// What becomes of a pixel.
  void ConvertPixel(const std::uint8_t* source, const std::uint8_t* maskPixel,
                    std::uint8_t* destination) const;
};

/// Every pair of layouts with every kind of fourth byte, every pair of picture and mask, pixels that are
/// apart, weights and tables.
std::vector<Case> AllCases();

}  // namespace tests
