// What the host says of a picture: its properties, and the description of its pixels as a bitmap.
#pragma once

#include <cstdint>

#include "abi/records.h"
#include "host/entries.h"
#include "host/held.h"

namespace rastel {

inline void UnlockDescription(REALpictureStruct* picture) {
  REALUnlockPictureDescription(picture);
}

/// A locked description of a picture.
using DescriptionLock = Held<REALpictureStruct, UnlockDescription>;

/// Locks `picture` and has it described as a bitmap. False if the host cannot do that.
bool LockAsBitmap(REALpictureStruct* picture, REALpictureDescription* description);

/// The bitmap of a description that LockAsBitmap filled, or null if it is not one with a table of rows.
BitmapRecord* BitmapOf(const REALpictureDescription& description);

/// The integer property `name` of `picture`; 0 if it cannot be read.
std::int32_t IntegerProperty(REALpictureStruct* picture, const char* name);

}  // namespace rastel
