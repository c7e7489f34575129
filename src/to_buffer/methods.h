// The picture-to-buffer methods, as the host calls them on a picture. Each copies the rows `startLine` to
// `endLine` (-1: the last) and gives true. It gives false after raising a host exception for a null or
// negative argument, and false without an exception for bad rows or row bytes, or if the picture cannot be
// read.
//
// The first row is written `offset` bytes (at least 0) behind the start of `destination`, and the next ones
// `destRowBytes` bytes apart, or the bytes of a row if those are more. `yield` is a time (see YieldData).
// Nothing checks how long the memory block is.
#pragma once

#include <cstdint>

#include "abi/records.h"

namespace rastel {

using CopyMethod = Boolean(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                           std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                           std::int32_t yield, std::int32_t destRowBytes);

/// The alpha byte of all pixels is the low byte of `alphaValue`.
using CopyAlphaMethod = Boolean(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);

/// With `littleEndian` the bytes of a pixel are in reverse order. The alpha byte of all pixels is
/// `alphaValue`; if that is no byte, the memory block keeps its alpha bytes.
using CopyEndianMethod = Boolean(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, Boolean littleEndian, std::int32_t alphaValue,
                                 std::int32_t startLine, std::int32_t endLine, std::int32_t yield,
                                 std::int32_t destRowBytes);

/// The alpha byte is 255 minus the green of the mask's pixel. The mask also gives the number of rows and of
/// pixels in a row.
using CopyMaskMethod = Boolean(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                               std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                               std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);

/// One byte for each pixel, `pixelByteSize` bytes apart (any value).
using CopyChannelMethod = Boolean(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                  std::int32_t offset, std::int32_t pixelByteSize, std::int32_t startLine,
                                  std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);

// X is a byte of the memory block that is left alone, M the alpha byte from a mask.
CopyMethod CopyRGBtoMemoryblockKVZ, CopyBGRtoMemoryblockKVZ, CopyXRGBtoMemoryblockKVZ,
    CopyXBGRtoMemoryblockKVZ, CopyRGBXtoMemoryblockKVZ, CopyBGRXtoMemoryblockKVZ;
CopyAlphaMethod CopyARGBtoMemoryblockKVZ, CopyABGRtoMemoryblockKVZ, CopyRGBAtoMemoryblockKVZ,
    CopyBGRAtoMemoryblockKVZ;
CopyEndianMethod CopyARGBtoMemoryblockX;
CopyMaskMethod CopyMRGBtoMemoryblockKVZ, CopyMBGRtoMemoryblockKVZ, CopyRGBMtoMemoryblockKVZ,
    CopyBGRMtoMemoryblockKVZ;
CopyChannelMethod CopyRtoMemoryblockKVZ, CopyGtoMemoryblockKVZ, CopyBtoMemoryblockKVZ;

}  // namespace rastel
