// Four-byte pixels: ARGB, ABGR, RGBA and BGRA. The alpha byte of the source is never read.
#include "to_picture/frame.h"
#include "to_picture/methods.h"

namespace rastel {

REALpictureStruct* PtrARGBtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                           std::int32_t width, std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kARGB});
}

REALpictureStruct* MemoryblockARGBtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                   std::int32_t offset, std::int32_t width,
                                                   std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kARGB});
}

REALpictureStruct* PtrABGRtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                           std::int32_t width, std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kABGR});
}

REALpictureStruct* MemoryblockABGRtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                   std::int32_t offset, std::int32_t width,
                                                   std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kABGR});
}

REALpictureStruct* PtrBGRAtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                           std::int32_t width, std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kBGRA});
}

REALpictureStruct* MemoryblockBGRAtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                   std::int32_t offset, std::int32_t width,
                                                   std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kBGRA});
}

REALpictureStruct* PtrRGBAtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                           std::int32_t width, std::int32_t height, Boolean flipVertically) {
  return BufferToPicture(dest, {source, offset, width, height},
                         {.layout = pixels::Layout::kRGBA, .flipVertically = flipVertically != 0});
}

REALpictureStruct* MemoryblockRGBAtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                   std::int32_t offset, std::int32_t width,
                                                   std::int32_t height, Boolean flipVertically) {
  return BufferToPicture(dest, {source, offset, width, height},
                         {.layout = pixels::Layout::kRGBA, .flipVertically = flipVertically != 0});
}

REALpictureStruct* PtrARGBtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height) {
  return PtrARGBtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* MemoryblockARGBtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height) {
  return MemoryblockARGBtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* PtrABGRtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height) {
  return PtrABGRtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* MemoryblockABGRtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height) {
  return MemoryblockABGRtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* PtrBGRAtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height) {
  return PtrBGRAtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* MemoryblockBGRAtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height) {
  return MemoryblockBGRAtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* PtrRGBAtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                       std::int32_t height, Boolean flipVertically) {
  return PtrRGBAtoPictureKVZdest(nullptr, source, offset, width, height, flipVertically);
}

REALpictureStruct* MemoryblockRGBAtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                               std::int32_t width, std::int32_t height,
                                               Boolean flipVertically) {
  return MemoryblockRGBAtoPictureKVZdest(nullptr, source, offset, width, height, flipVertically);
}

// The bytes of a little-endian ARGB word are blue, green, red, alpha.

REALpictureStruct* PtrARGBtoPictureX(void* source, std::int32_t offset, std::int32_t width,
                                     std::int32_t height, Boolean littleEndian) {
  return littleEndian != 0 ? PtrBGRAtoPictureKVZdest(nullptr, source, offset, width, height)
                           : PtrARGBtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* MemoryblockARGBtoPictureX(REALmemoryBlockStruct* source, std::int32_t offset,
                                             std::int32_t width, std::int32_t height, Boolean littleEndian) {
  return littleEndian != 0 ? MemoryblockBGRAtoPictureKVZdest(nullptr, source, offset, width, height)
                           : MemoryblockARGBtoPictureKVZdest(nullptr, source, offset, width, height);
}

}  // namespace rastel
