// Four bytes a pixel, with alpha from a mask picture: 255 minus the green of its pixel.
#include "to_buffer/frame.h"
#include "to_buffer/methods.h"

namespace rastel {

Boolean CopyMRGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPictureWithMask({picture, destination, offset}, maskForAlpha,
                             {startLine, endLine, yield, destRowBytes}, pixels::Layout::kARGB);
}

Boolean CopyMBGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPictureWithMask({picture, destination, offset}, maskForAlpha,
                             {startLine, endLine, yield, destRowBytes}, pixels::Layout::kABGR);
}

Boolean CopyRGBMtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPictureWithMask({picture, destination, offset}, maskForAlpha,
                             {startLine, endLine, yield, destRowBytes}, pixels::Layout::kRGBA);
}

Boolean CopyBGRMtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPictureWithMask({picture, destination, offset}, maskForAlpha,
                             {startLine, endLine, yield, destRowBytes}, pixels::Layout::kBGRA,
                             CheckOrder::kMaskFirst);
}

}  // namespace rastel
