// Copies of pictures whose own pixels cannot be locked.
#pragma once

#include <cstdint>

#include "abi/records.h"

namespace rastel {

/// Makes a 32-bit picture without a mask from the top-left `width` × `height` pixels of `picture`. The mask
/// of `picture` is taken away meanwhile, so that it has no effect. Gives the copy with one reference for the
/// caller, even if its pixels could not be written. Gives null if `picture` is null, if a size is below 1, or
/// if the host makes no picture. No host exception is raised. If the host throws, everything is given back.
REALpictureStruct* DuplicatePictureWithoutMaskOrAlpha(REALpictureStruct* picture, std::int32_t width,
                                                      std::int32_t height);

}  // namespace rastel
