// What is measured: families of conversions, through the methods that a host calls for them, at some sizes,
// and what each should reach.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "pixels/conversion.h"

namespace bench {

/// How a method is called.
enum class Shape : unsigned char {
  kToPicture,
  kToPictureFlip,
  kGray,
  kWeighted,
  kPalette,
  kToBlock,
  kToBlockAlpha,
  kToBlockMask,
  kToBlockChannel,
};

/// Shares of the limit at 640 × 480, at 1920 × 1080 and at 4096 × 4096, and times the fastest peer at
/// 640 × 480.
struct Goals {
  double vga;
  double hd;
  double large;
  double peer;
};

/// One family in one direction, or a part of one that has goals of its own.
struct Family {
  const char* name;
  const char* method;
  Shape shape;
  rastel::pixels::Layout buffer;
  int step;  // bytes from pixel to pixel of the buffer
  std::vector<int> pixelTypes;
  Goals goals;
};

/// What a size's figures are compared with.
enum class Measure : unsigned char {
  kMicroseconds,  // an upper bound for one call
  kRate,          // bytes a second, over those at 640 × 480
  kLimit,         // share of the limit
};

struct Size {
  std::int32_t width;
  std::int32_t height;
  std::int32_t offset;   // bytes ahead of the buffer's first row
  std::int32_t padding;  // bytes behind each row that a method writes to a buffer
  int calls;             // that a contestant makes in its turn
  int rounds;
  Measure measure;
  double Goals::*goal;  // with Measure::kLimit
  bool withKernels;     // those of every target take part

  std::string Name() const;
};

struct Case {
  const Family* family;
  int pixelType;
  const Size* size;

  std::string Name() const;
};

std::span<const Family> Families();
std::span<const Size> Sizes();
std::vector<Case> Cases();

constexpr double kMostMicroseconds = 0.3;
constexpr double kLeastRateOfShortRows = 0.5;
constexpr double kLeastRateOfOddRows = 0.9;

/// The figure that `one` should reach: its share of the limit, its rate, or microseconds that it should not
/// pass.
double GoalOf(const Case& one);

/// How many times as fast as its fastest peer `one` should be; 0 where there is no such goal.
double PeerGoalOf(const Case& one);

}  // namespace bench
