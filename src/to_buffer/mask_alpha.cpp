// Four bytes a pixel with the alpha byte from a mask picture: 255 minus its green.
#include "to_buffer/frame.h"
#include "to_buffer/methods.h"

namespace rastel {

Boolean CopyMRGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPictureWithMask({picture, destination, offset}, maskForAlpha,
                             {startLine, endLine, yield, destRowBytes}, pixels::kARGB);
}

Boolean CopyMBGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPictureWithMask({picture, destination, offset}, maskForAlpha,
                             {startLine, endLine, yield, destRowBytes}, pixels::kABGR);
}

Boolean CopyRGBMtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPictureWithMask({picture, destination, offset}, maskForAlpha,
                             {startLine, endLine, yield, destRowBytes}, pixels::kRGBA);
}

Boolean CopyBGRMtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPictureWithMask({picture, destination, offset}, maskForAlpha,
                             {startLine, endLine, yield, destRowBytes}, pixels::kBGRA,
                             CheckOrder::kMaskFirst);
}

}  // namespace rastel
