#include "picture/opaque_copy.h"

#include <cstddef>
#include <cstring>

#include "host/entries.h"
#include "host/held.h"
#include "host/platform.h"
#include "picture/description.h"

namespace rastel {
namespace {

constexpr const char* kMaskSetter = "Mask(assigns newMask As Picture)";
constexpr const char* kDrawPicture =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, "
    "sx as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";

using SetMask = void (*)(REALpictureStruct* picture, REALpictureStruct* newMask);
using DrawPicture = void (*)(REALobjectStruct* graphics, REALpictureStruct* image, std::int32_t x,
                             std::int32_t y, std::int32_t w, std::int32_t h, std::int32_t sx, std::int32_t sy,
                             std::int32_t sw, std::int32_t sh);

/// A picture's mask, if it has one. The picture gets it back by GiveBack, or else by the destructor.
class TakenMask {
 public:
  explicit TakenMask(REALpictureStruct* picture) : picture_(picture), mask_(REALGetPictureMask(picture, 0)) {
    if (mask_.Get() != nullptr) {
      setMask_ = reinterpret_cast<SetMask>(REALLoadObjectMethod(AsObject(picture), kMaskSetter));
    }
  }
  TakenMask(const TakenMask&) = delete;
  TakenMask& operator=(const TakenMask&) = delete;
  ~TakenMask() { GiveBack(); }

  void TakeAway() {
    if (setMask_ != nullptr) {
      setMask_(picture_, nullptr);
    }
  }

  void GiveBack() {
    if (setMask_ != nullptr) {
      setMask_(picture_, mask_.Get());
      setMask_ = nullptr;
    }
    mask_.GiveBack();
  }

 private:
  REALpictureStruct* picture_;
  Reference<REALpictureStruct> mask_;
  SetMask setMask_ = nullptr;  // null if there is nothing to give back
};

/// Copies all pixels if both bitmaps have the same size, and none otherwise. Either may be null.
void CopyRows(const BitmapRecord* from, const BitmapRecord* to) {
  const bool areAlike =
      from != nullptr && to != nullptr && from->width == to->width && from->height == to->height;
  if (!areAlike || from->width < 1) {
    return;
  }
  const std::size_t rowBytes = static_cast<std::size_t>(from->width) * 4;
  for (std::int32_t row = 0; row < from->height; ++row) {
    std::memcpy(to->rowTable[row], from->rowTable[row], rowBytes);
  }
}

void CopyBitmap(REALpictureStruct* picture, REALpictureStruct* copy) {
  REALpictureDescription from{};
  REALpictureDescription to{};
  if (!LockAsBitmap(picture, &from)) {
    return;
  }
  DescriptionLock fromLock(picture);
  DescriptionLock toLock(LockAsBitmap(copy, &to) ? copy : nullptr);
  if (toLock.Get() != nullptr) {
    CopyRows(BitmapOf(from), BitmapOf(to));
  }
  toLock.GiveBack();
  fromLock.GiveBack();
  REALPictureClearCache(copy);
}

/// Draws `picture` into `copy`, or copies its bitmap if nothing can be drawn.
void FillCopy(REALpictureStruct* copy, REALpictureStruct* picture, std::int32_t width, std::int32_t height) {
  Reference<REALobjectStruct> graphics(REALGetPictureGraphics(copy));
  DrawPicture draw = nullptr;
  if (graphics.Get() != nullptr) {
    draw = reinterpret_cast<DrawPicture>(REALLoadObjectMethod(graphics.Get(), kDrawPicture));
  }
  if (draw != nullptr) {
    draw(graphics.Get(), picture, 0, 0, width, height, 0, 0, width, height);
  } else {
    CopyBitmap(picture, copy);
  }
  graphics.GiveBack();
}

}  // namespace

REALpictureStruct* DuplicatePictureWithoutMaskOrAlpha(REALpictureStruct* picture, std::int32_t width,
                                                      std::int32_t height) {
  if (picture == nullptr || width < 1 || height < 1) {
    return nullptr;
  }
  TakenMask mask(picture);
  mask.TakeAway();
  SetGWorld(nullptr, nullptr);
  Reference<REALpictureStruct> copy(REALNewPicture(width, height, 32));
  if (copy.Get() != nullptr) {
    FillCopy(copy.Get(), picture, width, height);
  }
  mask.GiveBack();
  return copy.HandOver();
}

}  // namespace rastel
