// The host entries that deal with pictures.
#include <algorithm>
#include <new>
#include <string_view>

#include "devhost/trace.h"

namespace devhost {
namespace {

REALpictureStruct* MakePicture(std::int32_t width, std::int32_t height) {
  if (REALpictureStruct* spare = Host::Current().spare) {
    Retain(spare);
    return spare;
  }
  try {
    return Host::Current().NewPicture(width, height).release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

REALpictureStruct* NewPicture(std::int32_t width, std::int32_t height, std::int32_t depth) {
  return width < 1 || height < 1 || depth != 32 ? nullptr : MakePicture(width, height);
}

REALpictureStruct* BuildPicture(std::int32_t width, std::int32_t height, std::int32_t, void* buffer,
                                std::int32_t rowBytes) {
  if (!RequireAddress(buffer) || width < 1 || height < 1) {
    return nullptr;
  }
  REALpictureStruct* picture = MakePicture(width, height);
  for (std::int32_t row = 0; picture != nullptr && row < height; ++row) {
    const auto* source = static_cast<const std::uint8_t*>(buffer) + std::ptrdiff_t{row} * rowBytes;
    std::copy_n(source, picture->RowLength(), picture->Row(row));
  }
  return picture;
}

void LockNativeDescription(REALpictureStruct* picture, REALpictureDescription* description) {
  constexpr std::int32_t kOtherDescription = 1;
  if (Require(picture) == nullptr || !RequireAddress(description)) {
    return;
  }
  *description = {kOtherDescription, nullptr, picture->width, picture->height, 0, 0, nullptr};
  const bool isDesktop = Host::Current().options().kind == Kind::kDesktop;
  if (isDesktop && picture->format != PixelFormat::kBitmap) {
    description->type = kLegacyWorldDescription;
    description->data = WorldOf(picture);
    ++picture->descriptionLocks;
  }
}

Boolean LockDescription(REALpictureStruct* picture, REALpictureDescription* description, std::int32_t type) {
  if (Require(picture) == nullptr || !RequireAddress(description)) {
    return 0;
  }
  const bool locked = type == kBitmapDescription && picture->format == PixelFormat::kBitmap;
  if (locked) {
    *description = {type, picture->bitmap.get(), picture->width, picture->height, 0, 0, nullptr};
  }
  // Before 2012.0 a lock that failed has to be undone, too.
  if (locked || Entries::State().version < 2012.0) {
    ++picture->descriptionLocks;
  }
  return locked ? 1 : 0;
}

/// True if the unlock answers a lock that never reached the host, for want of the entry or through
/// Host::onEntry. Before 2012.0 plug-ins have to undo failed locks, so that is no fault.
bool UndoesRefusedLock() {
  if (Entries::State().version >= 2012.0) {
    return false;
  }
  int& refused = Entries::State().refusedLocks;
  if (refused > 0) {
    --refused;
    return true;
  }
  return Host::Current().Lacks("REALLockPictureDescription");
}

void UnlockDescription(REALpictureStruct* picture) {
  if (Require(picture) == nullptr) {
    return;
  }
  if (picture->descriptionLocks > 0) {
    --picture->descriptionLocks;
  } else if (!UndoesRefusedLock()) {
    Complain("the description is not locked");
  }
}

void ClearCache(REALpictureStruct* picture) {
  Require(picture);
}

std::int32_t PictureType(REALpictureStruct* picture) {
  return Require(picture) == nullptr ? 0 : picture->pictureType;
}

REALpictureStruct* GetMask(REALpictureStruct* picture, Boolean create) {
  if (Require(picture) == nullptr) {
    return nullptr;
  }
  if (picture->mask == nullptr && create != 0) {
    picture->SetMask(Host::Current().NewPicture(picture->width, picture->height).get());
  }
  if (picture->mask != nullptr) {
    Retain(picture->mask);
  }
  return picture->mask;
}

void AssignMask(REALpictureStruct* picture, REALpictureStruct* newMask) {
  if (Require(picture) != nullptr && (newMask == nullptr || Require(newMask) != nullptr)) {
    picture->SetMask(newMask);
  }
}

REALobjectStruct* GetGraphics(REALpictureStruct* picture) {
  return Require(picture) == nullptr ? nullptr : new GraphicsObject(picture);
}

void* LoadObjectMethod(REALobjectStruct* object, const char* declaration) {
  if (Require(object) == nullptr || !RequireAddress(declaration)) {
    return nullptr;
  }
  const bool draws = std::string_view(declaration).starts_with("DrawPicture(");
  const bool has = draws ? dynamic_cast<GraphicsObject*>(object) != nullptr
                         : dynamic_cast<REALpictureStruct*>(object) != nullptr;
  return has ? FindAddress(ObjectMethods(), declaration) : nullptr;
}

}  // namespace

const std::vector<NamedAddress>& ObjectMethods() {
  static const std::vector<NamedAddress> methods = {
      {"DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, "
       "sx as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)",
       Row<"DrawPicture", DrawPicture>().address},
      {"Mask(assigns newMask As Picture)", Row<"Mask", AssignMask>().address},
  };
  return methods;
}

const std::vector<NamedAddress>& PictureEntries() {
  static const std::vector<NamedAddress> entries = {
      Row<"lockPictureDescription", LockNativeDescription>(),
      Row<"REALLockPictureDescription", LockDescription>(),
      Row<"unlockPictureDescription", UnlockDescription>(),
      Row<"REALPictureClearCache", ClearCache>(),
      Row<"PluginPictureGetType", PictureType>(),
      Row<"newPicture", NewPicture>(),
      Row<"REALBuildPictureFromBuffer", BuildPicture>(),
      Row<"REALGetPictureMask", GetMask>(),
      Row<"pluginPictureGraphicsGetter", GetGraphics>(),
      Row<"REALLoadObjectMethod", LoadObjectMethod>(),
  };
  return entries;
}

}  // namespace devhost
