// The picture-to-buffer methods, as the host calls them on a picture. Each copies the rows `startLine` to
// `endLine`
// (-1: to the last) to `offset` in the memory block, `destRowBytes` apart but never closer than packed rows,
// and gives true; or false after raising a host exception for a bad argument, or silently for a bad band or
// stride or a picture that cannot be opened. The size of the memory block is trusted.
#pragma once

#include <cstdint>

#include "abi/records.h"

namespace rastel {

Boolean CopyRGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyBGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyXRGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                 std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyXBGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                 std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyRGBXtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                 std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyBGRXtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t startLine, std::int32_t endLine,
                                 std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyARGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyABGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyRGBAtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyBGRAtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, std::int32_t alphaValue, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyARGBtoMemoryblockX(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                               std::int32_t offset, Boolean littleEndian, std::int32_t alphaValue,
                               std::int32_t startLine, std::int32_t endLine, std::int32_t yield,
                               std::int32_t destRowBytes);
Boolean CopyMRGBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyMBGRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyRGBMtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyBGRMtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                                 std::int32_t offset, REALpictureStruct* maskForAlpha, std::int32_t startLine,
                                 std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyRtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                              std::int32_t offset, std::int32_t pixelByteSize, std::int32_t startLine,
                              std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyGtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                              std::int32_t offset, std::int32_t pixelByteSize, std::int32_t startLine,
                              std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);
Boolean CopyBtoMemoryblockKVZ(REALpictureStruct* picture, REALmemoryBlockStruct* destination,
                              std::int32_t offset, std::int32_t pixelByteSize, std::int32_t startLine,
                              std::int32_t endLine, std::int32_t yield, std::int32_t destRowBytes);

}  // namespace rastel
