#include "to_buffer/frame.h"

#include <algorithm>

#include "host/entries.h"
#include "host/errors.h"
#include "host/yield.h"
#include "picture/editor.h"
#include "pixels/address.h"
#include "pixels/converter.h"

namespace rastel {
namespace {

constexpr std::uint8_t kBlack = 0;

/// The rows of a picture from `first` to `last`; none if `last` is less than `first`.
struct Lines {
  std::int32_t first;
  std::int32_t last;

  bool IsEmpty() const { return last < first; }
};

bool CheckBand(const RowBand& band) {
  return band.endLine >= -1 && band.startLine >= 0 && band.destRowBytes >= 0;
}

Lines LinesOf(const RowBand& band, std::int32_t height) {
  if (height < 1) {
    return {0, -1};
  }
  const std::int32_t lowest = height - 1;
  return {std::min(band.startLine, lowest), band.endLine < 0 ? lowest : std::min(band.endLine, lowest)};
}

/// A copy from an open picture to a memory block, with alpha from `mask` unless that is null.
class BandCopy {
 public:
  BandCopy(PictureReader& picture, PictureReader* mask, const RowBand& band,
           const pixels::Conversion& conversion)
      : picture_(picture),
        mask_(mask),
        yield_{band.yield, 0},
        conversion_(conversion),
        converter_(conversion) {
    const PictureReader& sized = mask == nullptr ? picture : *mask;
    lines_ = LinesOf(band, picture.Height < 1 ? 0 : sized.Height);
    width_ = std::max(sized.Width, 0);
    const auto packed = static_cast<std::int64_t>(width_) * pixels::ChannelsOf(conversion.to).bytes;
    stride_ = std::max<std::int64_t>(packed, band.destRowBytes);
  }

  Boolean CopyTo(REALmemoryBlockStruct* destination, std::int32_t offset) {
    auto* block = static_cast<std::uint8_t*>(REALMemoryBlockGetPtr(destination));
    // The host is asked for the size, but the size is not checked.
    REALMemoryBlockGetSize(destination);
    if (block == nullptr) {
      return lines_.IsEmpty() || width_ == 0 ? 1 : 0;
    }
    Skip(lines_.first);
    for (std::int32_t line = lines_.first; line <= lines_.last;) {
      const std::int64_t position = offset + (line - lines_.first) * stride_;
      const std::int32_t count = CopyRun(block, position, MostRows(line));
      Skip(count);
      line += count;
      if (yield_.Yield != 0) {
        yield_.DoYield();
      }
    }
    return 1;
  }

 private:
  void Skip(std::int32_t count) {
    picture_.SkipRows(count);
    if (mask_ != nullptr) {
      mask_->SkipRows(count);
    }
  }

  /// How many rows from `line` on may be converted at once.
  std::int32_t MostRows(std::int32_t line) const {
    const bool isOneByOne = yield_.Yield != 0 || conversion_.toStep < 0;
    return isOneByOne ? 1 : lines_.last - line + 1;
  }

  /// Converts up to `most` rows, at least 1. The first is written `position` bytes behind the start of
  /// `block`. Gives how many there were.
  std::int32_t CopyRun(std::uint8_t* block, std::int64_t position, std::int32_t most) const {
    RowRun source = picture_.PeekRows(most);
    RowRun alpha{{}, source.count};
    if (mask_ != nullptr) {
      alpha = mask_->PeekRows(source.count);
      source.count = alpha.count;
    }
    std::uint8_t* destination = pixels::At(block, static_cast<std::ptrdiff_t>(position), 1);
    pixels::Rows rows{.destination = {destination, static_cast<std::ptrdiff_t>(stride_)},
                      .source = source.starts,
                      .mask = alpha.starts,
                      .width = WidthAt(position),
                      .count = source.count};
    if (mask_ != nullptr && width_ > picture_.Width) {
      ConvertBeyondPicture(rows);
      rows.width = std::max(picture_.Width, 0);
    }
    converter_.Convert(rows);
    return source.count;
  }

  /// How many pixels of a row at `position` are written. With a negative step those that would come before
  /// the start of the block are not.
  std::ptrdiff_t WidthAt(std::int64_t position) const {
    const std::int64_t step = conversion_.toStep;
    const std::int64_t width = step < 0 ? std::min<std::int64_t>(width_, position / -step + 1) : width_;
    return static_cast<std::ptrdiff_t>(width);
  }

  /// Writes the pixels that only the mask has: black, with alpha from the mask.
  void ConvertBeyondPicture(pixels::Rows rows) const {
    const std::ptrdiff_t present = std::max(picture_.Width, 0);
    rows.source = {&kBlack};
    rows.destination = rows.destination.Behind(present, conversion_.toStep);
    rows.mask = rows.mask.Behind(present, pixels::ChannelsOf(conversion_.mask).bytes);
    rows.width -= present;
    pixels::Conversion beyond = conversion_;
    beyond.from = pixels::Layout::kGray;
    beyond.fromStep = 0;
    pixels::Converter(beyond).Convert(rows);
  }

  PictureReader& picture_;
  PictureReader* mask_;
  YieldData yield_;
  pixels::Conversion conversion_;
  pixels::Converter converter_;
  Lines lines_{};
  std::int32_t width_;   // pixels copied from each row
  std::int64_t stride_;  // bytes from one row written to the next
};

}  // namespace

Boolean CopyPicture(const CopyEnds& ends, const RowBand& band, const BlockFormat& format) {
  if (!CheckBand(band) || !CheckArguments({{ends.picture != nullptr, kPictureIsNil},
                                           {ends.destination != nullptr, kMemoryblockIsNil},
                                           {ends.offset >= 0, kOffsetTooSmall}})) {
    return 0;
  }
  PictureReader picture;
  if (!picture.GetPictureEditor(ends.picture, true, false)) {
    return 0;
  }
  const pixels::Conversion conversion{.from = picture.PixelType->layout,
                                      .to = format.layout,
                                      .rest = format.rest,
                                      .fill = format.fill,
                                      .toStep = format.pixelBytes};
  return BandCopy(picture, nullptr, band, conversion).CopyTo(ends.destination, ends.offset);
}

Boolean CopyPictureWithMask(const CopyEnds& ends, REALpictureStruct* maskForAlpha, const RowBand& band,
                            pixels::Layout layout, CheckOrder order) {
  const Check blockCheck{ends.destination != nullptr, kMemoryblockIsNil};
  const Check maskCheck{maskForAlpha != nullptr, kMaskIsNil};
  const bool isMaskFirst = order == CheckOrder::kMaskFirst;
  if (!CheckBand(band) || !CheckArguments({{ends.picture != nullptr, kPictureIsNil},
                                           isMaskFirst ? maskCheck : blockCheck,
                                           isMaskFirst ? blockCheck : maskCheck,
                                           {ends.offset >= 0, kOffsetTooSmall}})) {
    return 0;
  }
  PictureReader picture;
  PictureReader mask;  // released before the picture
  if (!picture.GetPictureEditor(ends.picture, true, false) ||
      !mask.GetPictureEditor(maskForAlpha, true, false)) {
    return 0;
  }
  const pixels::Conversion conversion{.from = picture.PixelType->layout,
                                      .to = layout,
                                      .rest = pixels::Rest::kFromMask,
                                      .mask = mask.PixelType->layout};
  return BandCopy(picture, &mask, band, conversion).CopyTo(ends.destination, ends.offset);
}

}  // namespace rastel
