// The buffer-to-picture methods, as the host calls them. Each gives a picture with one reference for the
// host. It gives null after raising a host exception for a bad argument, and null without an exception if the
// pixels cannot be read or no picture can be written.
//
// `Source` is void* or REALmemoryBlockStruct*. The first pixel is `offset` bytes (at least 0) behind its
// first byte. `width` is in pixels and `height` in rows, both at least 1. Nothing checks how long the source
// is.
#pragma once

#include <cstdint>

#include "abi/records.h"

namespace rastel {

/// Writes into a new picture.
template <typename Source>
using PictureMethod = REALpictureStruct*(Source source, std::int32_t offset, std::int32_t width,
                                         std::int32_t height);

/// With `flipVertically` the last row of the source becomes the picture's first.
template <typename Source>
using FlipMethod = REALpictureStruct*(Source source, std::int32_t offset, std::int32_t width,
                                      std::int32_t height, Boolean flipVertically);

/// Writes into the top-left corner of `dest`. If `dest` is null, too small or not writable, it writes into a
/// new picture.
template <typename Source>
using DestMethod = REALpictureStruct*(REALpictureStruct* dest, Source source, std::int32_t offset,
                                      std::int32_t width, std::int32_t height);

template <typename Source>
using FlipDestMethod = REALpictureStruct*(REALpictureStruct* dest, Source source, std::int32_t offset,
                                          std::int32_t width, std::int32_t height, Boolean flipVertically);

/// With `littleEndian` the bytes of a pixel are in reverse order.
template <typename Source>
using EndianMethod = REALpictureStruct*(Source source, std::int32_t offset, std::int32_t width,
                                        std::int32_t height, Boolean littleEndian);

/// One gray byte for each pixel, `pixelByteSize` bytes apart (any value).
template <typename Source>
using GrayMethod = REALpictureStruct*(Source source, std::int32_t offset, std::int32_t width,
                                      std::int32_t height, std::int32_t pixelByteSize);

/// Each channel is the gray byte times the channel's weight over 256. The last two weights are in the wrong
/// order: `blue` is for green and `green` for blue.
template <typename Source>
using WeightedGrayMethod = REALpictureStruct*(Source source, std::int32_t offset, std::int32_t width,
                                              std::int32_t height, std::int32_t pixelByteSize,
                                              std::int32_t red, std::int32_t blue, std::int32_t green);

/// The gray byte is an index into the channel's array. A null array is an empty one. The last two arrays are
/// in the wrong order, as the weights are.
template <typename Source>
using PaletteMethod = REALpictureStruct*(Source source, std::int32_t offset, std::int32_t width,
                                         std::int32_t height, std::int32_t pixelByteSize,
                                         _REALarrayInteger* red, _REALarrayInteger* blue,
                                         _REALarrayInteger* green);

PictureMethod<void*> PtrRGBtoPictureKVZ, PtrBGRtoPictureKVZ, PtrARGBtoPictureKVZ, PtrABGRtoPictureKVZ,
    PtrBGRAtoPictureKVZ;
FlipMethod<void*> PtrRGBAtoPictureKVZ;
DestMethod<void*> PtrRGBtoPictureKVZdest, PtrBGRtoPictureKVZdest, PtrARGBtoPictureKVZdest,
    PtrABGRtoPictureKVZdest, PtrBGRAtoPictureKVZdest;
FlipDestMethod<void*> PtrRGBAtoPictureKVZdest;
EndianMethod<void*> PtrARGBtoPictureX;
GrayMethod<void*> PtrGrayToPictureKVZ;
WeightedGrayMethod<void*> PtrGrayToPictureRGBKVZ;
PaletteMethod<void*> PtrGrayToPicturePalKVZ;

PictureMethod<REALmemoryBlockStruct*> MemoryblockRGBtoPictureKVZ, MemoryblockBGRtoPictureKVZ,
    MemoryblockARGBtoPictureKVZ, MemoryblockABGRtoPictureKVZ, MemoryblockBGRAtoPictureKVZ;
FlipMethod<REALmemoryBlockStruct*> MemoryblockRGBAtoPictureKVZ;
DestMethod<REALmemoryBlockStruct*> MemoryblockRGBtoPictureKVZdest, MemoryblockBGRtoPictureKVZdest,
    MemoryblockARGBtoPictureKVZdest, MemoryblockABGRtoPictureKVZdest, MemoryblockBGRAtoPictureKVZdest;
FlipDestMethod<REALmemoryBlockStruct*> MemoryblockRGBAtoPictureKVZdest;
EndianMethod<REALmemoryBlockStruct*> MemoryblockARGBtoPictureX;
GrayMethod<REALmemoryBlockStruct*> MemoryblockGrayToPictureKVZ;
WeightedGrayMethod<REALmemoryBlockStruct*> MemoryblockGrayToPictureRGBKVZ;
PaletteMethod<REALmemoryBlockStruct*> MemoryblockGrayToPicturePalKVZ;

}  // namespace rastel
