// Rows between pages without access.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "devhost/memory.h"
#include "pixels/address.h"
#include "support.h"

namespace tests {

inline constexpr std::size_t kRows = 3;  // that are converted at once
using RowContents = std::array<Bytes, kRows>;

enum class Arrangement : std::uint8_t { kApart, kBackwards, kTable, kGap, kPacked };
inline constexpr std::size_t kArrangements = 5;

/// Where rows are put.
struct Placement {
  Arrangement arrangement;
  bool atEnd;                   // of their room, or at its beginning
  std::ptrdiff_t distance = 0;  // bytes from there
  std::ptrdiff_t gap = 1;       // bytes from one row to the next with Arrangement::kGap
};

/// The rows of a source, a mask or a destination, which are windows of longer ones. Of three rooms, all
/// between pages without access, packed rows and rows with gaps share one; other rows have one each.
class RowMemory {
 public:
  static constexpr std::ptrdiff_t kPixels = 960;  // of the longer rows

  /// Pixels of `pixelBytes` bytes, `step` bytes from one to the next.
  RowMemory(std::ptrdiff_t step, std::ptrdiff_t pixelBytes, std::uint64_t seed)
      : step_(step), pixelBytes_(pixelBytes) {
    for (std::size_t i = 0; i < kRows; ++i) {
      expected_[i] = NoiseBytes(static_cast<std::size_t>(RoomSize()), i);
      std::ranges::copy(expected_[i], memory_.Row(i));
      before[i] = NoiseBytes(static_cast<std::size_t>(kPixels * std::abs(step) + 8), seed + 10000 * i);
    }
    after = before;
  }

  /// Pixel `x` of one of the longer rows.
  std::uint8_t* Pixel(Bytes& contents, std::ptrdiff_t x) const { return contents.data() + Position(x); }

  /// Makes room for the windows of `width` pixels that begin at pixel `first`, which are to become `after`.
  void Place(const Placement& placement, std::ptrdiff_t first, std::ptrdiff_t width) {
    static constexpr std::size_t kRooms[kArrangements][kRows] = {
        {0, 1, 2}, {2, 1, 0}, {1, 2, 0}, {1, 1, 1}, {1, 1, 1}};
    arrangement_ = placement.arrangement;
    const std::ptrdiff_t last = first + std::max<std::ptrdiff_t>(width, 1) - 1;
    offset_ = std::min(Position(first), Position(last));
    firstPixel_ = Position(first) - offset_;
    bytes_ = width == 0 ? 0 : std::max(Position(first), Position(last)) - offset_ + pixelBytes_;
    const bool isShared = arrangement_ >= Arrangement::kGap;
    const std::ptrdiff_t gap = arrangement_ == Arrangement::kGap ? placement.gap : 0;
    const std::ptrdiff_t distance = isShared ? width * std::abs(step_) + gap : 0;
    std::ptrdiff_t start =
        placement.atEnd ? RoomSize() - 2 * distance - bytes_ - placement.distance : placement.distance;
    for (std::size_t i = 0; i < kRows; ++i, start += distance) {
      rows_[i] = {kRooms[static_cast<std::size_t>(arrangement_)][i], start};
      table_[i] = Start(i) + firstPixel_ - kTableOffset;
      std::copy_n(after[i].data() + offset_, bytes_, expected_[rows_[i].room].data() + start);
    }
  }

  void Write(const RowContents& contents) {
    for (std::size_t i = 0; i < kRows; ++i) {
      std::copy_n(contents[i].data() + offset_, bytes_, Start(i));
    }
  }

  /// Says where the rows and the bytes around them first differ from what they are to be. Empty: nowhere.
  std::string Difference() const {
    constexpr std::ptrdiff_t kAround = 64;
    std::string text;
    for (std::size_t i = 0; i < kRows && text.empty(); ++i) {
      const auto& [room, start] = rows_[i];
      const std::ptrdiff_t begin = std::max<std::ptrdiff_t>(start - kAround, 0);
      const std::ptrdiff_t end = std::min(start + bytes_ + kAround, RoomSize());
      text = tests::Difference({expected_[room].data() + begin, expected_[room].data() + end},
                               {memory_.Row(room) + begin, memory_.Row(room) + end});
      text = text.empty() ? "" : "row " + std::to_string(i) + " and around: " + text;
    }
    return text;
  }

  rastel::pixels::Places<std::uint8_t> places() const {
    if (arrangement_ == Arrangement::kTable) {
      return {.table = table_.data(), .offset = kTableOffset};
    }
    return {.first = Start(0) + firstPixel_, .step = Start(1) - Start(0)};
  }

  RowContents before, after;  // a conversion

 private:
  static constexpr std::ptrdiff_t kTableOffset = 5;

  struct Row {
    std::size_t room;
    std::ptrdiff_t start;  // in the room
  };

  static std::ptrdiff_t RoomSize() {
    static const std::ptrdiff_t size = 3 * sysconf(_SC_PAGESIZE);
    return size;
  }

  /// Where pixel `x` is in a longer row, which leads back if its step does.
  std::ptrdiff_t Position(std::ptrdiff_t x) const { return (step_ < 0 ? x + 1 - kPixels : x) * step_; }

  std::uint8_t* Start(std::size_t i) const { return memory_.Row(rows_[i].room) + rows_[i].start; }

  devhost::Memory memory_{
      {.rows = kRows, .rowLength = static_cast<std::size_t>(RoomSize()), .guarded = true}};
  RowContents expected_;  // of the rooms
  std::ptrdiff_t step_, pixelBytes_;
  Arrangement arrangement_ = Arrangement::kApart;
  std::array<Row, kRows> rows_ = {};
  std::array<std::uint8_t*, kRows> table_ = {};
  std::ptrdiff_t bytes_ = 0;                    // of a row
  std::ptrdiff_t offset_ = 0, firstPixel_ = 0;  // of the windows in the longer rows, and in the windows
};

}  // namespace tests
