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

/// The lock of a picture whose description is locked.
using DescriptionLock = Held<REALpictureStruct, UnlockDescription>;

/// Locks `picture` and describes it as a bitmap. False if the host cannot do that: nothing is locked then.
bool LockAsBitmap(REALpictureStruct* picture, REALpictureDescription* description);

/// Gives the bitmap of a description that LockAsBitmap has filled, or null if it has no table of rows.
BitmapRecord* BitmapOf(const REALpictureDescription& description);

/// The integer property `name` of `picture`; 0 if it cannot be read.
std::int32_t IntegerProperty(REALpictureStruct* picture, const char* name);

}  // namespace rastel
