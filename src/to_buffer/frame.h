// What all picture-to-buffer methods do: check, open the picture, find the band of rows, copy it with a yield
// after each row.
#pragma once

#include <cstddef>
#include <cstdint>

#include "abi/records.h"
#include "pixels/conversion.h"

namespace rastel {

/// From where to where.
struct CopyTarget {
  REALpictureStruct* picture;
  REALmemoryBlockStruct* destination;
  std::int32_t offset;  // of the first written row in the block, in bytes
};

struct RowBand {
  std::int32_t startLine;  // a line past the picture counts as the last one
  std::int32_t endLine;    // inclusive; -1: the last
  std::int32_t yield;      // see YieldData
  std::int32_t
      destRowBytes;  // from one written row to the next; a value below that of packed rows gives these
};

/// How the block's pixels are written.
struct BlockFormat {
  pixels::Layout layout;
  pixels::Rest rest = pixels::Rest::kFill;
  std::uint8_t fill = 0;
  std::ptrdiff_t pixelBytes =
      pixels::ChannelsOf(layout).bytes;  // from one pixel to the next; does not enter the stride
};

/// Copies a band of the picture's rows. True if that was possible, even if the band is empty.
Boolean CopyPicture(const CopyTarget& target, const RowBand& band, const BlockFormat& format);

/// Which nil is reported when both the mask and the memory block are nil.
enum class CheckOrder : unsigned char { kBlockFirst, kMaskFirst };

/// Copies a band of the mask's rows: colours from the picture's pixels, alpha from the mask's. Where the mask
/// is larger than the picture, missing pixels are black and missing rows are the picture's row 0.
Boolean CopyPictureWithMask(const CopyTarget& target, REALpictureStruct* maskForAlpha, const RowBand& band,
                            pixels::Layout layout, CheckOrder order = CheckOrder::kBlockFirst);

}  // namespace rastel
