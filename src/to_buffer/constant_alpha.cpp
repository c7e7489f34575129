// Four bytes a pixel, with the same alpha byte for all pixels.
#include "to_buffer/frame.h"
#include "to_buffer/methods.h"

namespace rastel {

namespace {

/// The low byte of an alpha value, which is not checked: 300 is 44, -1 is 255.
std::uint8_t LowByte(std::int32_t alphaValue) {
  return static_cast<std::uint8_t>(alphaValue);
}

}  // namespace

Boolean CopyARGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kARGB, .fill = LowByte(alphaValue)});
}

Boolean CopyABGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kABGR, .fill = LowByte(alphaValue)});
}

Boolean CopyRGBAtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kRGBA, .fill = LowByte(alphaValue)});
}

Boolean CopyBGRAtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes) {
  return CopyPicture({picture, destination, offset}, {startLine, endLine, yield, destRowBytes},
                     {.layout = pixels::Layout::kBGRA, .fill = LowByte(alphaValue)});
}

// Unlike above, an alpha value that is no byte leaves the alpha bytes of the memory block alone.
Boolean CopyARGBtoMemoryblockX(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                               std::int32_t offset, Boolean littleEndian, std::int32_t alphaValue,
                               std::int32_t startLine, std::int32_t endLine, std::int32_t yield,
                               std::int32_t destRowBytes) {
  const bool hasAlpha = alphaValue >= 0 && alphaValue <= 255;
  if (littleEndian != 0) {
    return hasAlpha ? CopyBGRAtoMemoryblockKVZ(picture, destination, offset, alphaValue, startLine, endLine,
                                               yield, destRowBytes)
                    : CopyBGRXtoMemoryblockKVZ(picture, destination, offset, startLine, endLine, yield,
                                               destRowBytes);
  }
  return hasAlpha ? CopyARGBtoMemoryblockKVZ(picture, destination, offset, alphaValue, startLine, endLine,
                                             yield, destRowBytes)
                  : CopyXRGBtoMemoryblockKVZ(picture, destination, offset, startLine, endLine, yield,
                                             destRowBytes);
}

}  // namespace rastel
