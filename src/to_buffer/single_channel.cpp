// One channel: one byte a pixel, `pixelByteSize` bytes from pixel to pixel.
#include "to_buffer/frame.h"
#include "to_buffer/methods.h"

namespace rastel {

Boolean CopyRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                              std::int32_t offset, std::int32_t pixelByteSize, std::int32_t startLine,
                              std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kRed, .pixelBytes = pixelByteSize});
}

Boolean CopyGtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                              std::int32_t offset, std::int32_t pixelByteSize, std::int32_t startLine,
                              std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kGreen, .pixelBytes = pixelByteSize});
}

Boolean CopyBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                              std::int32_t offset, std::int32_t pixelByteSize, std::int32_t startLine,
                              std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kBlue, .pixelBytes = pixelByteSize});
}

}  // namespace rastel
