// What all buffer-to-picture methods do: check the arguments, open a picture, write its rows, give it back.
#pragma once

#include <cstddef>
#include <cstdint>

#include "abi/records.h"
#include "pixels/conversion.h"

namespace rastel {

/// Where a buffer is: in a memory block or at an address. The other one is null.
struct BufferSource {
  REALmemoryBlockStruct* block;
  void* pointer;

  // NOLINTNEXTLINE(google-explicit-constructor): every method passes its own kind of source
  BufferSource(REALmemoryBlockStruct* source) : block(source), pointer(nullptr) {}
  // NOLINTNEXTLINE(google-explicit-constructor)
  BufferSource(void* source) : block(nullptr), pointer(source) {}

  bool IsNil() const { return block == nullptr && pointer == nullptr; }

  /// The address of the first byte. Null if the host does not give its block's.
  const std::uint8_t* Address() const;
};

/// `height` rows of `width` pixels, without gaps, that start `offset` bytes behind the first byte of
/// `source`.
struct Buffer {
  BufferSource source;
  std::int32_t offset;
  std::int32_t width;
  std::int32_t height;
};

/// True if there is a source, the sizes are at least 1 and the offset is at least 0. Otherwise raises a host
/// exception.
bool CheckBuffer(const Buffer& buffer);

/// How the buffer's pixels are read.
struct BufferFormat {
  pixels::Layout layout;
  /// Bytes from one pixel to the next. Rows are `width` times as far apart.
  std::ptrdiff_t pixelBytes = pixels::ChannelsOf(layout).bytes;
  const pixels::ChannelWeights* weights = nullptr;  // if set, gray bytes are multiplied
  const pixels::ChannelTables* tables = nullptr;    // if set, gray bytes are looked up
  bool flipVertically = false;                      // the last row becomes the picture's first
};

/// Writes a buffer that has passed CheckBuffer into the top-left corner of `dest`, or into a new picture if
/// `dest` is null, too small or not writable. Gives the picture with one reference for the host, or null if
/// there is no such picture or the source has no address.
REALpictureStruct* FillPicture(REALpictureStruct* dest, const Buffer& buffer, const BufferFormat& format);

/// Checks the buffer and fills the picture. Null if the buffer is refused.
REALpictureStruct* BufferToPicture(REALpictureStruct* dest, const Buffer& buffer, const BufferFormat& format);

}  // namespace rastel
