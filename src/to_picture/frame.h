// What all buffer-to-picture methods do: check, open a writer, fill it row by row, hand the picture back.
#pragma once

#include <cstddef>
#include <cstdint>

#include "abi/records.h"
#include "pixels/conversion.h"

namespace rastel {

/// A buffer of packed rows, in a memory block or at a raw address.
struct BufferSource {
  REALmemoryBlockStruct* block;
  void* pointer;

  // NOLINTNEXTLINE(google-explicit-constructor): every method passes its own kind of source
  BufferSource(REALmemoryBlockStruct* source) : block(source), pointer(nullptr) {}
  // NOLINTNEXTLINE(google-explicit-constructor)
  BufferSource(void* source) : block(nullptr), pointer(source) {}

  bool IsNil() const { return block == nullptr && pointer == nullptr; }

  /// The address of the first byte; null if the host does not give that of its block.
  const std::uint8_t* Address() const;
};

/// `height` rows of `width` pixels that start `offset` bytes into the source.
struct Buffer {
  BufferSource source;
  std::int32_t offset;
  std::int32_t width;
  std::int32_t height;
};

/// True if the arguments are in order; raises a host exception otherwise.
bool CheckBuffer(const Buffer& buffer);

/// How the buffer's pixels are read.
struct BufferFormat {
  pixels::Layout layout;
  std::ptrdiff_t pixelBytes =
      pixels::ChannelsOf(layout).bytes;             // from one pixel to the next, rows being packed
  const pixels::ChannelWeights* weights = nullptr;  // for gray bytes that are weighted
  const pixels::ChannelTables* tables = nullptr;    // for gray bytes that are looked up
  bool flipVertically = false;                      // the last row comes first
};

/// Writes the buffer into the top-left corner of `dest`, or into a new picture if `dest` is null, too small
/// or not writable. Gives the picture with one reference for the host, or null if there is none to be had or
/// the source has no address. The arguments have passed CheckBuffer; the source's size is trusted.
REALpictureStruct* FillPicture(REALpictureStruct* dest, const Buffer& buffer, const BufferFormat& format);

/// CheckBuffer, then FillPicture.
REALpictureStruct* BufferToPicture(REALpictureStruct* dest, const Buffer& buffer, const BufferFormat& format);

}  // namespace rastel
