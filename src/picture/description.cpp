#include "picture/description.h"

namespace rastel {

bool LockAsBitmap(REALpictureStruct* picture, REALpictureDescription* description) {
  const bool isLocked = REALLockPictureDescription(picture, description, kBitmapDescription) != 0;
  if (!isLocked && rbversion_rbversion < 2012.0) {
    // Older hosts need the unlock after a failed lock as well; newer ones must not get it.
    REALUnlockPictureDescription(picture);
  }
  return isLocked;
}

BitmapRecord* BitmapOf(const REALpictureDescription& description) {
  auto* bitmap = static_cast<BitmapRecord*>(description.data);
  const bool isUsable = description.type == kBitmapDescription && bitmap != nullptr && bitmap->word0 == 0 &&
                        bitmap->rowTable != nullptr;
  return isUsable ? bitmap : nullptr;
}

std::int32_t IntegerProperty(REALpictureStruct* picture, const char* name) {
  std::int32_t value = 0;
  return REALGetPropValueInteger(AsObject(picture), name, &value) != 0 ? value : 0;
}

}  // namespace rastel
