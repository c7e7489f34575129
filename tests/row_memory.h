// Rows between pages without access.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "support.h"

namespace tests {

inline constexpr int kRows = 3;                // that are converted at once
inline constexpr std::ptrdiff_t kMargin = 64;  // bytes around a row that are compared, too

/// Bytes of the room for a row, or for all of them: whole pages.
inline std::ptrdiff_t RoomSize() {
  static const std::ptrdiff_t size = 3 * sysconf(_SC_PAGESIZE);
  return size;
}

/// One room for each row, every one between pages without access; mapped once.
class Arena {
 public:
  Arena() {
    constexpr std::size_t kRooms = 2 * kRows + 1;
    const auto room = static_cast<std::size_t>(RoomSize());
    void* mapped = mmap(nullptr, kRooms * room, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) {
      throw std::bad_alloc();
    }
    start_ = static_cast<std::uint8_t*>(mapped);
    for (int row = 0; row < kRows; ++row) {
      mprotect(Room(row), room, PROT_READ | PROT_WRITE);
    }
  }
  // Never unmapped: the test ends first.

  std::uint8_t* Room(int row) const { return start_ + (2 * row + 1) * RoomSize(); }

 private:
  std::uint8_t* start_;
};

enum class Stride : std::uint8_t { kApart, kBackwards, kGap, kPacked };
inline constexpr const char* kStrideNames[] = {"apart", "backwards", "with gaps", "packed"};

/// Where rows are put: at the end of their room or at its beginning, `distance` bytes away from it.
struct Placement {
  bool atEnd;
  std::ptrdiff_t distance;
  Stride stride;
};

/// Bytes as they are before and after a conversion, with a margin at both ends.
struct Image {
  std::vector<std::uint8_t> before, after;

  std::ptrdiff_t Extent() const { return static_cast<std::ptrdiff_t>(before.size()) - 2 * kMargin; }
};

/// What one row is, before and after a conversion.
struct RowBytes {
  const std::uint8_t* before;
  const std::uint8_t* after;
};

/// The rows of a source, a mask or a destination.
class Side {
 public:
  /// Rows of `extent` bytes in all strides: packed, they are `packed` bytes apart, with gaps `gap` more.
  void Make(const std::array<RowBytes, kRows>& rows, std::ptrdiff_t extent, std::ptrdiff_t packed,
            std::ptrdiff_t gap) {
    for (int row = 0; row < kRows; ++row) {
      Fill(images_[row], &rows[row], 1, extent, 0);
    }
    gapStride_ = packed + gap;
    packedStride_ = packed;
    Fill(gapImage_, rows.data(), kRows, extent, gapStride_);
    Fill(packedImage_, rows.data(), kRows, extent, packedStride_);
  }

  void Place(const Placement& placement) {
    partCount_ = 0;
    switch (placement.stride) {
      case Stride::kApart:
      case Stride::kBackwards: {
        const bool isBackwards = placement.stride == Stride::kBackwards;
        stride_ = isBackwards ? -2 * RoomSize() : 2 * RoomSize();
        for (int row = 0; row < kRows; ++row) {
          AddPart(images_[row], isBackwards ? kRows - 1 - row : row, placement);
        }
        break;
      }
      case Stride::kGap:
        stride_ = gapStride_;
        AddPart(gapImage_, 1, placement);
        break;
      case Stride::kPacked:
        stride_ = packedStride_;
        AddPart(packedImage_, 1, placement);
        break;
    }
  }

  /// Writes what is there before a conversion.
  void Reset() const {
    for (int i = 0; i < partCount_; ++i) {
      const Part& part = parts_[i];
      std::memcpy(part.begin, part.image->before.data() + part.skipped, part.length);
    }
  }

  bool IsAsAfter() const { return DifferenceText(false).empty(); }

  /// Says where the first difference to what there is after a conversion is.
  std::string Difference() const { return DifferenceText(true); }

  std::uint8_t* first() const { return parts_[0].row; }
  std::ptrdiff_t stride() const { return stride_; }

 private:
  struct Part {
    const Image* image;
    std::uint8_t* row;
    std::uint8_t* begin;     // of the bytes compared
    std::ptrdiff_t skipped;  // bytes of the image's first margin that are not there
    std::size_t length;
  };

  static void Fill(Image& image, const RowBytes* rows, int count, std::ptrdiff_t extent,
                   std::ptrdiff_t stride) {
    static const std::vector<std::uint8_t> noise = [] {
      std::vector<std::uint8_t> bytes(16384);  // more than a room and its margins
      std::generate(bytes.begin(), bytes.end(), [i = std::uint64_t{31}]() mutable { return Noise(i++); });
      return bytes;
    }();
    const std::ptrdiff_t total = (extent == 0 ? 0 : (count - 1) * stride + extent) + 2 * kMargin;
    image.before.assign(noise.begin(), noise.begin() + total);
    for (int row = 0; row < count; ++row) {
      std::copy_n(rows[row].before, extent,
                  image.before.begin() + kMargin + (extent == 0 ? 0 : row * stride));
    }
    image.after = image.before;
    for (int row = 0; row < count; ++row) {
      std::copy_n(rows[row].after, extent, image.after.begin() + kMargin + (extent == 0 ? 0 : row * stride));
    }
  }

  void AddPart(const Image& image, int room, const Placement& placement) {
    std::uint8_t* begin = arena_.Room(room);
    std::uint8_t* end = begin + RoomSize();
    const std::ptrdiff_t extent = image.Extent();
    Part& part = parts_[partCount_++];
    part.image = &image;
    part.row = placement.atEnd ? end - extent - placement.distance : begin + placement.distance;
    part.skipped = kMargin - std::min(kMargin, part.row - begin);
    part.begin = part.row - kMargin + part.skipped;
    part.length = static_cast<std::size_t>(std::min(part.row + extent + kMargin, end) - part.begin);
  }

  std::string DifferenceText(bool isWanted) const {
    for (int i = 0; i < partCount_; ++i) {
      const Part& part = parts_[i];
      const std::uint8_t* after = part.image->after.data() + part.skipped;
      if (std::memcmp(part.begin, after, part.length) != 0) {
        if (!isWanted) {
          return "differs";
        }
        const auto at = std::mismatch(after, after + part.length, part.begin);
        return "byte " + std::to_string(at.second - part.row) + " of " +
               std::to_string(part.image->Extent()) + " in part " + std::to_string(i) + " is " +
               std::to_string(*at.second) + " instead of " + std::to_string(*at.first);
      }
    }
    return "";
  }

  Arena arena_;
  Image images_[kRows], gapImage_, packedImage_;
  std::ptrdiff_t gapStride_ = 0, packedStride_ = 0, stride_ = 0;
  Part parts_[kRows] = {};
  int partCount_ = 0;
};

}  // namespace tests
