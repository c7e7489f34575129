// What the plug-in has to have written, byte by byte.
#pragma once

#include <cstdint>
#include <string>

#include "devhost/objects.h"
#include "devhost/oracle.h"
#include "rastel-host/image.h"

namespace devhost::program {

/// What a block holds before the plug-in writes to it.
inline constexpr std::uint8_t kUntouched = 165;

/// The first byte of `picture`, made by a host of this pixel type, that is not what the pixels in `block`
/// give, in words; empty if there is none.
std::string PictureDifference(const oracle::Buffer& pixels, const REALmemoryBlockStruct& block, int pixelType,
                              const REALpictureStruct& picture);

/// Likewise, the first byte of `block` that is neither what the copy of `picture` gives nor, where it gives
/// nothing, kUntouched. `mask` counts if the copy's layout has an M.
std::string BlockDifference(const oracle::Copy& copy, REALpictureStruct& picture, const Image& mask,
                            const REALmemoryBlockStruct& block);

}  // namespace devhost::program
