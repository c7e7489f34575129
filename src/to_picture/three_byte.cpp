// Three-byte pixels: RGB and BGR.
#include "to_picture/frame.h"
#include "to_picture/methods.h"

namespace rastel {

REALpictureStruct* PtrRGBtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                          std::int32_t width, std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kRGB});
}

REALpictureStruct* MemoryblockRGBtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                  std::int32_t offset, std::int32_t width,
                                                  std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kRGB});
}

REALpictureStruct* PtrBGRtoPictureKVZdest(REALpictureStruct* dest, void* source, std::int32_t offset,
                                          std::int32_t width, std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kBGR});
}

REALpictureStruct* MemoryblockBGRtoPictureKVZdest(REALpictureStruct* dest, REALmemoryBlockStruct* source,
                                                  std::int32_t offset, std::int32_t width,
                                                  std::int32_t height) {
  return BufferToPicture(dest, {source, offset, width, height}, {.layout = pixels::Layout::kBGR});
}

REALpictureStruct* PtrRGBtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                      std::int32_t height) {
  return PtrRGBtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* MemoryblockRGBtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                              std::int32_t width, std::int32_t height) {
  return MemoryblockRGBtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* PtrBGRtoPictureKVZ(void* source, std::int32_t offset, std::int32_t width,
                                      std::int32_t height) {
  return PtrBGRtoPictureKVZdest(nullptr, source, offset, width, height);
}

REALpictureStruct* MemoryblockBGRtoPictureKVZ(REALmemoryBlockStruct* source, std::int32_t offset,
                                              std::int32_t width, std::int32_t height) {
  return MemoryblockBGRtoPictureKVZdest(nullptr, source, offset, width, height);
}

}  // namespace rastel
