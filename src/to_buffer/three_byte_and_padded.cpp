// Three bytes a pixel, or four of which one is left alone.
#include "to_buffer/frame.h"
#include "to_buffer/methods.h"

namespace rastel {

Boolean CopyRGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kRGB});
}

Boolean CopyBGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kBGR});
}

Boolean CopyXRGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                 std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kARGB, .rest = pixels::Rest::kKept});
}

Boolean CopyXBGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                 std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kABGR, .rest = pixels::Rest::kKept});
}

Boolean CopyRGBXtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                 std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kRGBA, .rest = pixels::Rest::kKept});
}

Boolean CopyBGRXtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                 std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kBGRA, .rest = pixels::Rest::kKept});
}

}  // namespace rastel
