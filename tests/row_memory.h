// Rows between pages without access.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "devhost/memory.h"
#include "pixels/address.h"
#include "support.h"

namespace tests {

inline constexpr std::size_t kRows = 3;  // that are converted at once
using RowContents = std::array<Bytes, kRows>;

enum class Stride : std::uint8_t { kApart, kBackwards, kTable, kGap, kPacked };
inline constexpr const char* kStrideNames[] = {"apart", "backwards", "in a table", "with gaps", "packed"};
inline constexpr std::size_t kStrides = std::size(kStrideNames);

/// Where rows are put: `distance` bytes from the beginning of their room, or from its end.
struct Placement {
  bool atEnd;
  std::ptrdiff_t distance;
  Stride stride;

  std::string Text() const {
    return std::string(atEnd ? "ends " : "begins ") + std::to_string(distance) +
           " bytes from a page without access, rows " + kStrideNames[static_cast<int>(stride)];
  }
};

/// The rows of a source, a mask or a destination, which are windows of longer ones. Of three rooms, all
/// between pages without access, packed rows and rows with gaps share one; other rows have one each.
class RowMemory {
 public:
  static constexpr std::ptrdiff_t kPixels = 960;  // of the longer rows

  /// Pixels of `pixelBytes` bytes, `step` bytes from one to the next, or back to the next.
  RowMemory(std::ptrdiff_t step, std::ptrdiff_t pixelBytes, std::uint64_t seed)
      : step_(std::abs(step)), leadsBack_(step < 0), pixelBytes_(pixelBytes) {
    for (std::size_t row = 0; row < kRows; ++row) {
      std::ranges::copy(Surroundings(), memory_.Row(row));
      before[row] = NoiseBytes(static_cast<std::size_t>(kPixels * step_ + 8), seed + 10000 * row);
    }
    after = before;
  }

  /// The first pixel of a longer row.
  std::uint8_t* First(Bytes& contents) const {
    return &contents[static_cast<std::size_t>(leadsBack_ ? (kPixels - 1) * step_ : 0)];
  }

  /// Makes room for the windows of `width` pixels that begin at pixel `first`. `gap` is what is between two
  /// rows that share a room.
  void Place(const Placement& placement, std::ptrdiff_t width, std::ptrdiff_t first, std::ptrdiff_t gap) {
    static constexpr std::size_t kRooms[kStrides][kRows] = {
        {0, 1, 2}, {2, 1, 0}, {1, 2, 0}, {1, 1, 1}, {1, 1, 1}};
    for (const Row& row : rows_) {
      std::copy_n(OfSurroundings(row, row.start), bytes_, row.start);
    }
    bytes_ = width == 0 ? 0 : (width - 1) * step_ + pixelBytes_;
    offset_ = (leadsBack_ ? kPixels - first - width : first) * step_;
    stride_ = placement.stride;
    const bool isShared = stride_ >= Stride::kGap;
    const std::ptrdiff_t distance = isShared ? width * step_ + (stride_ == Stride::kGap ? gap : 0) : 0;
    const std::ptrdiff_t length = 2 * distance + bytes_;
    for (std::size_t i = 0; i < kRows; ++i) {
      std::uint8_t* room = memory_.Row(kRooms[static_cast<std::size_t>(stride_)][i]);
      std::uint8_t* roomEnd = room + RoomSize();
      std::uint8_t* start =
          placement.atEnd ? roomEnd - length - placement.distance : room + placement.distance;
      start += static_cast<std::ptrdiff_t>(i) * distance;
      rows_[i] = {room, start, isShared && i > 0 ? start : std::max(room, start - kMargin),
                  isShared && i + 1 < kRows ? start + distance : std::min(roomEnd, start + bytes_ + kMargin)};
      table_[i] = start + FirstPixel() - kTableOffset;
    }
  }

  void Write(const RowContents& contents) {
    for (std::size_t i = 0; i < kRows; ++i) {
      std::memcpy(rows_[i].start, contents[i].data() + offset_, static_cast<std::size_t>(bytes_));
    }
  }

  /// Says where the rows first differ from `after`, or what surrounds them from what it was. Empty: nowhere.
  std::string Difference() const {
    std::string text;
    for (std::size_t i = 0; i < kRows && text.empty(); ++i) {
      const Row& row = rows_[i];
      const std::uint8_t* end = row.start + bytes_;
      text = Compare(row, row.begin, OfSurroundings(row, row.begin), row.start - row.begin) +
             Compare(row, row.start, after[i].data() + offset_, bytes_) +
             Compare(row, end, OfSurroundings(row, end), row.end - end);
    }
    return text;
  }

  rastel::pixels::Places<std::uint8_t> places() const {
    if (stride_ == Stride::kTable) {
      return {.table = table_.data(), .offset = kTableOffset};
    }
    return {.first = rows_[0].start + FirstPixel(), .step = rows_[1].start - rows_[0].start};
  }

  RowContents before, after;  // a conversion

 private:
  static constexpr std::ptrdiff_t kMargin = 64;  // bytes around a row that are compared as well
  static constexpr std::ptrdiff_t kTableOffset = 5;

  struct Row {
    std::uint8_t* room;
    std::uint8_t* start;
    std::uint8_t *begin, *end;  // of what is compared
  };

  /// Where the first pixel of a row is in it.
  std::ptrdiff_t FirstPixel() const { return leadsBack_ && bytes_ > 0 ? bytes_ - pixelBytes_ : 0; }

  static std::ptrdiff_t RoomSize() {
    static const std::ptrdiff_t size = 3 * sysconf(_SC_PAGESIZE);
    return size;
  }

  /// What a room holds around its rows.
  static const Bytes& Surroundings() {
    static const Bytes bytes = NoiseBytes(static_cast<std::size_t>(RoomSize()), 31);
    return bytes;
  }

  static const std::uint8_t* OfSurroundings(const Row& row, const std::uint8_t* address) {
    return Surroundings().data() + (address - row.room);
  }

  static std::string Compare(const Row& row, const std::uint8_t* actual, const std::uint8_t* expected,
                             std::ptrdiff_t count) {
    if (std::memcmp(actual, expected, static_cast<std::size_t>(count)) == 0) {
      return "";
    }
    const auto at = std::mismatch(actual, actual + count, expected);
    return "byte " + std::to_string(at.first - row.start) + " is " + std::to_string(*at.first) +
           " instead of " + std::to_string(*at.second);
  }

  devhost::Memory memory_{
      {.rows = kRows, .rowLength = static_cast<std::size_t>(RoomSize()), .guarded = true}};
  std::ptrdiff_t step_;
  bool leadsBack_;
  std::ptrdiff_t pixelBytes_;
  std::array<Row, kRows> rows_ = {};
  std::array<std::uint8_t*, kRows> table_ = {};
  std::ptrdiff_t bytes_ = 0, offset_ = 0;
  Stride stride_ = Stride::kApart;
};

}  // namespace tests
