#include "to_picture/frame.h"

#include <algorithm>

#include "host/entries.h"
#include "host/errors.h"
#include "picture/editor.h"
#include "pixels/address.h"
#include "pixels/converter.h"

namespace rastel {
namespace {

/// Writes `rows` into the picture. When locked, a picture may have fewer pixels than it said before: its rows
/// then get fewer pixels, and row 0 gets the rows that are too many.
void FillRows(PictureWriter& writer, pixels::Rows rows, const pixels::Converter& converter) {
  rows.width = std::min<std::ptrdiff_t>(rows.width, writer.Width);
  if (rows.width < 1 || writer.Height < 1) {
    return;
  }
  for (auto remaining = static_cast<std::int32_t>(rows.count); remaining > 0;) {
    const RowRun run = writer.PeekRows(remaining);
    rows.destination = run.starts;
    rows.count = run.count;
    converter.Convert(rows);
    writer.SkipRows(run.count);
    rows.source = rows.source.From(run.count);
    remaining -= run.count;
  }
}

/// The rows of `buffer` from the picture's first to its last. The first byte of the buffer is at `source`.
pixels::Rows RowsOf(const Buffer& buffer, const BufferFormat& format, const std::uint8_t* source) {
  const std::ptrdiff_t rowBytes = pixels::Distance(buffer.width, format.pixelBytes);
  pixels::Rows rows{};
  rows.width = buffer.width;
  rows.count = buffer.height;
  rows.source = {source, rowBytes};
  if (format.flipVertically) {
    rows.source = {rows.source[buffer.height - 1], pixels::Distance(-1, rowBytes)};
  }
  return rows;
}

pixels::Conversion ConversionTo(const PixelTypeTraits& type, const BufferFormat& format) {
  return {.from = format.layout,
          .to = type.layout,
          .fill = type.fourthByte,
          .fromStep = format.pixelBytes,
          .weights = format.weights,
          .tables = format.tables};
}

}  // namespace

const std::uint8_t* BufferSource::Address() const {
  return static_cast<const std::uint8_t*>(block == nullptr ? pointer : REALMemoryBlockGetPtr(block));
}

bool CheckBuffer(const Buffer& buffer) {
  return CheckArguments({{!buffer.source.IsNil(), kMemoryblockIsNil},
                         {buffer.width >= 1, kWidthTooSmall},
                         {buffer.height >= 1, kHeightTooSmall},
                         {buffer.offset >= 0, kOffsetTooSmall}});
}

REALpictureStruct* FillPicture(REALpictureStruct* dest, const Buffer& buffer, const BufferFormat& format) {
  PictureWriter writer;
  if (!writer.NewPictureWriter(dest, buffer.width, buffer.height)) {
    return nullptr;
  }
  const std::uint8_t* source = buffer.source.Address();
  if (source == nullptr) {
    return nullptr;
  }
  FillRows(writer, RowsOf(buffer, format, pixels::At(source, buffer.offset, 1)),
           pixels::Converter(ConversionTo(*writer.PixelType, format)));
  return writer.RenderPictureWriter();
}

REALpictureStruct* BufferToPicture(REALpictureStruct* dest, const Buffer& buffer,
                                   const BufferFormat& format) {
  return CheckBuffer(buffer) ? FillPicture(dest, buffer, format) : nullptr;
}

}  // namespace rastel
