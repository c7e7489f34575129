// Copies of pictures whose own pixels cannot be described.
#pragma once

#include <cstdint>

#include "abi/records.h"

namespace rastel {

/// Makes a 32-bit picture without a mask that shows the top-left `width` × `height` pixels of `picture`,
/// unscaled and as if `picture` had no mask. `picture` ends as it began. Gives the copy with one reference
/// for the caller, or null if an argument is null or below 1 or the host makes no picture. A copy whose
/// pixels could not be transferred is given all the same. Raises nothing; host exceptions pass, with
/// everything given back.
REALpictureStruct* DuplicatePictureWithoutMaskOrAlpha(REALpictureStruct* picture, std::int32_t width,
                                                      std::int32_t height);

}  // namespace rastel
