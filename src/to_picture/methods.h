// The buffer-to-picture methods, as the host calls them. Each gives a picture with one reference for the
// host, or null: after raising a host exception for a bad argument, or silently when no picture can be had.
// The methods with a `dest` fill its top-left corner if it is large enough; `dest` may be null.
#pragma once

#include <cstdint>

#include "abi/records.h"

namespace rastel {

REALpictureStruct* PtrRGBtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                          std::int32_t width, std::int32_t height);
REALpictureStruct* MemoryblockRGBtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                  std::int32_t offset, std::int32_t width,
                                                  std::int32_t height);
REALpictureStruct* PtrBGRtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                          std::int32_t width, std::int32_t height);
REALpictureStruct* MemoryblockBGRtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                  std::int32_t offset, std::int32_t width,
                                                  std::int32_t height);
REALpictureStruct* PtrRGBtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                      std::int32_t height);
REALpictureStruct* MemoryblockRGBtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                              std::int32_t width, std::int32_t height);
REALpictureStruct* PtrBGRtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                      std::int32_t height);
REALpictureStruct* MemoryblockBGRtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                              std::int32_t width, std::int32_t height);
REALpictureStruct* PtrARGBtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                           std::int32_t width, std::int32_t height);
REALpictureStruct* MemoryblockARGBtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                   std::int32_t offset, std::int32_t width,
                                                   std::int32_t height);
REALpictureStruct* PtrABGRtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                           std::int32_t width, std::int32_t height);
REALpictureStruct* MemoryblockABGRtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                   std::int32_t offset, std::int32_t width,
                                                   std::int32_t height);
REALpictureStruct* PtrBGRAtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                           std::int32_t width, std::int32_t height);
REALpictureStruct* MemoryblockBGRAtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                   std::int32_t offset, std::int32_t width,
                                                   std::int32_t height);
REALpictureStruct* PtrRGBAtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                           std::int32_t width, std::int32_t height, Boolean flipVertically);
REALpictureStruct* MemoryblockRGBAtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                   std::int32_t offset, std::int32_t width,
                                                   std::int32_t height, Boolean flipVertically);
REALpictureStruct* PtrARGBtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height);
REALpictureStruct* MemoryblockARGBtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height);
REALpictureStruct* PtrABGRtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height);
REALpictureStruct* MemoryblockABGRtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height);
REALpictureStruct* PtrBGRAtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height);
REALpictureStruct* MemoryblockBGRAtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height);
REALpictureStruct* PtrRGBAtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height, Boolean flipVertically);
REALpictureStruct* MemoryblockRGBAtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height,
                                               Boolean flipVertically);
REALpictureStruct* PtrARGBtoPictureX(void* source, std::int32_t offset, std::int32_t width,
                                     std::int32_t height, Boolean littleEndian);
REALpictureStruct* MemoryblockARGBtoPictureX(REALmemoryBlockStruct* source, std::int32_t offset,
                                             std::int32_t width, std::int32_t height, Boolean littleEndian);
REALpictureStruct* PtrGrayToPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height, std::int32_t pixelByteSize);
REALpictureStruct* MemoryblockGrayToPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height,
                                               std::int32_t pixelByteSize);
REALpictureStruct* PtrGrayToPictureRGBKVZ(void* source, std::int32_t offset, std::int32_t width,
                                          std::int32_t height, std::int32_t pixelByteSize, std::int32_t red,
                                          std::int32_t blue, std::int32_t green);
REALpictureStruct* MemoryblockGrayToPictureRGBKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                                  std::int32_t width, std::int32_t height,
                                                  std::int32_t pixelByteSize, std::int32_t red,
                                                  std::int32_t blue, std::int32_t green);
REALpictureStruct* PtrGrayToPicturePalKVZ(void* source, std::int32_t offset, std::int32_t width,
                                          std::int32_t height, std::int32_t pixelByteSize,
                                          _REALarrayInteger* red, _REALarrayInteger* blue,
                                          _REALarrayInteger* green);
REALpictureStruct* MemoryblockGrayToPicturePalKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                                  std::int32_t width, std::int32_t height,
                                                  std::int32_t pixelByteSize, _REALarrayInteger* red,
                                                  _REALarrayInteger* blue, _REALarrayInteger* green);

}  // namespace rastel
