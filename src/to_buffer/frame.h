// What all picture-to-buffer methods do: check the arguments, open the picture, copy a band of its rows.
#pragma once

#include <cstddef>
#include <cstdint>

#include "abi/records.h"
#include "pixels/conversion.h"

namespace rastel {

/// From where to where.
struct CopyEnds {
  REALpictureStruct* picture;
  REALmemoryBlockStruct* destination;
  std::int32_t offset;  // bytes from the start of the block to the first row written
};

/// The rows to copy.
struct RowBand {
  std::int32_t startLine;  // at least 0; a row below the picture is its last one
  std::int32_t endLine;    // likewise, and copied as well; -1: the last row
  std::int32_t yield;      // see YieldData
  /// Bytes from one row written to the next, at least 0. If a row has more, the next one follows without a
  /// gap.
  std::int32_t destRowBytes;
};

/// How the block's pixels are written.
struct BlockFormat {
  pixels::Layout layout;
  pixels::Rest rest = pixels::Rest::kFill;
  std::uint8_t fill = 0;  // with Rest::kFill
  /// Bytes from one pixel to the next. The bytes of a row do not depend on it.
  std::ptrdiff_t pixelBytes = pixels::ChannelsOf(layout).bytes;
};

/// Checks the arguments and copies the rows. True if they could be copied, even if there are none. False
/// without a host exception for a bad band, or if there are no pixels; false with one for another bad
/// argument.
Boolean CopyPicture(const CopyEnds& ends, const RowBand& band, const BlockFormat& format);

/// Which of the two is reported if both the mask and the memory block are nil.
enum class CheckOrder : unsigned char { kBlockFirst, kMaskFirst };

/// Like CopyPicture, with alpha from a mask. The mask says how many rows there are, and how many pixels in a
/// row. Pixels that the picture does not have are black; for rows that it does not have its row 0 is taken.
Boolean CopyPictureWithMask(const CopyEnds& ends, REALpictureStruct* maskForAlpha, const RowBand& band,
                            pixels::Layout layout, CheckOrder order = CheckOrder::kBlockFirst);

}  // namespace rastel
