#include "picture/editor.h"

#include <algorithm>
#include <atomic>

#include "host/entries.h"
#include "host/held.h"
#include "host/platform.h"
#include "picture/description.h"
#include "picture/opaque_copy.h"

namespace rastel {
namespace {

// The kind of the host's application. It is found out once, or from the first picture that can be opened, and
// stays while the library is loaded. With IsDesktop no picture is opened as a bitmap, with IsConsole none as
// a legacy graphics world.
constinit std::atomic<bool> IsDesktop = false;
constinit std::atomic<bool> IsConsole = false;

/// Finds out the kind if it is not known. Asks for all three classes, whichever there are.
void DetectHostKind() {
  if (IsDesktop || IsConsole) {
    return;
  }
  const bool isDesktop = REALGetClassRef("Application") != nullptr;
  const bool isWeb = REALGetClassRef("WebApplication") != nullptr;
  const bool isConsole = REALGetClassRef("ConsoleApplication") != nullptr;
  if (isDesktop) {
    IsDesktop = true;
  } else if (isConsole || isWeb) {
    IsConsole = true;
  }
}

/// False for the kinds of pictures that cannot be written. All can if the host does not tell the kind.
bool IsWritable(REALpictureStruct* picture) {
  if (!REALGetPictureType.IsAvailable()) {
    return true;
  }
  const std::int32_t kind = REALGetPictureType(picture);
  return kind != 0 && kind != 1 && kind != 3;
}

void UnlockPixMap(void* pixMap) {
  UnlockPixels(pixMap);
}

/// The locked pixels of a legacy graphics world.
using PixelLock = Held<void, UnlockPixMap>;

}  // namespace

PictureEditor::~PictureEditor() {
  CloseEditor();
}

bool PictureEditor::GetPictureEditor(REALpictureStruct* picture, bool allowCopy, bool forWriting) {
  return Open(picture, allowCopy, forWriting ? Purpose::kWriting : Purpose::kReading);
}

bool PictureEditor::Open(REALpictureStruct* picture, bool allowCopy, Purpose purpose) {
  CloseEditor();
  if (picture == nullptr) {
    return false;
  }
  ClearCacheOnClose = purpose == Purpose::kWriting;
  AllowCopyFlag = allowCopy;
  DetectHostKind();
  if (!IsWritable(picture) && purpose == Purpose::kWriting) {
    return false;
  }
  if (!IsConsole) {
    const Outcome outcome = OpenNative(picture, purpose);
    if (outcome != Outcome::kUndecided) {
      return outcome == Outcome::kOpened;
    }
  }
  return OpenBitmap(picture);
}

PictureEditor::Outcome PictureEditor::OpenNative(REALpictureStruct* picture, Purpose purpose) {
  // A host may leave the record as it is: what it said of the picture before must not count for this one.
  PictureDescription = {};
  REALLockPictureDescriptionWithNativeType(picture, &PictureDescription);
  if (PictureDescription.type == kLegacyWorldDescription) {
    IsDesktop = true;
    return OpenLegacyWorld(picture, purpose);
  }
  // Hosts expect no unlock of a native description of another type.
  if (!AllowCopyFlag || purpose != Purpose::kReading) {
    return Outcome::kUndecided;
  }
  const std::int32_t width = IntegerProperty(picture, "Width");
  const std::int32_t height = IntegerProperty(picture, "Height");
  return OpenOpaqueCopy(picture, width, height, nullptr);
}

PictureEditor::Outcome PictureEditor::OpenLegacyWorld(REALpictureStruct* picture, Purpose purpose) {
  DescriptionLock description(picture);
  void* world = PictureDescription.data;
  void* pixMap = world == nullptr ? nullptr : GetGWorldPixMap(world);
  const std::int16_t depth = pixMap == nullptr ? std::int16_t{0} : GetPixDepth(pixMap);
  if (pixMap != nullptr && depth != 32 && depth != 24) {
    description.GiveBack();
    return OpenUnsupportedDepth(picture, pixMap, purpose);
  }
  PixelLock pixels(pixMap != nullptr && LockPixels(pixMap) != 0 ? pixMap : nullptr);
  char* base = pixels.Get() == nullptr ? nullptr : GetPixBaseAddr(pixMap);
  if (base == nullptr) {
    RowPtr = nullptr;
    BaseAddress = nullptr;
    pixels.GiveBack();
    description.GiveBack();
    return Outcome::kFailed;
  }
  Hold(picture, description);
  PixMapHandle = pixels.HandOver();
  PixelType = depth == 32 ? &kPixelType13 : &kPixelType12;
  BytesPerPixel = depth / 8;
  RowBytes = GetPixRowBytes(PixMapHandle);
  StartAt(reinterpret_cast<std::uint8_t*>(base));
  return Outcome::kOpened;
}

PictureEditor::Outcome PictureEditor::OpenUnsupportedDepth(REALpictureStruct* picture, void* pixMap,
                                                           Purpose purpose) {
  if (purpose != Purpose::kReading) {
    return purpose == Purpose::kWriting ? Outcome::kFailed : Outcome::kUndecided;
  }
  return OpenOpaqueCopy(picture, PictureDescription.width, PictureDescription.height, pixMap);
}

PictureEditor::Outcome PictureEditor::OpenOpaqueCopy(REALpictureStruct* picture, std::int32_t width,
                                                     std::int32_t height, void* pixMap) {
  Reference<REALpictureStruct> copy(DuplicatePictureWithoutMaskOrAlpha(picture, width, height));
  if (copy.Get() == nullptr) {
    return Outcome::kUndecided;
  }
  if (pixMap != nullptr) {
    // Nobody has locked the picture's pixels, but hosts expect this unlock.
    UnlockPixels(pixMap);
  }
  const bool isOpen = Open(copy.Get(), AllowCopyFlag, Purpose::kReadingCopy);
  copy.GiveBack();
  return isOpen ? Outcome::kOpened : Outcome::kFailed;
}

bool PictureEditor::OpenBitmap(REALpictureStruct* picture) {
  if (IsDesktop || !LockAsBitmap(picture, &PictureDescription)) {
    return false;
  }
  IsConsole = true;
  DescriptionLock description(picture);
  const BitmapRecord* bitmap = BitmapOf(PictureDescription);
  if (bitmap == nullptr || bitmap->word1806 == 0) {
    description.GiveBack();
    return false;
  }
  Hold(picture, description);
  PixelType = &kPixelType8;
  BytesPerPixel = 4;
  RowBytes = static_cast<std::int32_t>(std::int64_t{PictureDescription.width} * 4);
  RowTable = bitmap->rowTable;
  StartAt(PictureDescription.height > 0 ? RowTable[0] : nullptr);
  return true;
}

void PictureEditor::Hold(REALpictureStruct* picture, DescriptionLock& description) {
  REALLockObject(AsObject(picture));
  Picture = picture;
  description.HandOver();
  DescriptionLocked = true;
  Width = PictureDescription.width;
  Height = PictureDescription.height;
}

void PictureEditor::StartAt(std::uint8_t* firstRow) {
  BaseAddress = firstRow;
  RowPtr = firstRow;
  ColumnIndex = 0;
  RowIndex = 0;
}

REALpictureStruct* PictureEditor::RenderPictureWriter() {
  Reference<REALpictureStruct> result(nullptr);
  if (Picture != nullptr) {
    REALLockObject(AsObject(Picture));
    result.Reset(Picture);
    REALPictureClearCache(Picture);
  } else if (PictureDescription.buffer != nullptr) {
    result.Reset(REALBuildPictureFromBuffer(Width, Height, 1, PictureDescription.buffer, RowBytes));
  }
  CloseEditor();
  return result.HandOver();
}

void PictureEditor::CloseEditor() {
  SpareWord = 0;
  if (PixMapHandle != nullptr) {
    UnlockPixels(PixMapHandle);
    PixMapHandle = nullptr;
  }
  if (DescriptionLocked) {
    REALUnlockPictureDescription(Picture);
    DescriptionLocked = false;
  }
  if (Picture == nullptr) {
    return;
  }
  if (ClearCacheOnClose) {
    REALPictureClearCache(Picture);
  }
  REALUnlockObject(AsObject(Picture));
  Picture = nullptr;
}

std::uint8_t* PictureEditor::RowStart(std::int32_t row) const {
  if (row >= Height) {
    return BaseAddress;
  }
  return PixelType == &kPixelType8 ? RowTable[row] : pixels::At(BaseAddress, row, RowBytes);
}

void PictureEditor::NextRow() {
  SkipRows(1);
}

void PictureEditor::SkipRows(std::int32_t count) {
  RowIndex += count;
  ColumnIndex = 0;
  RowPtr = RowStart(RowIndex);
}

RowRun PictureEditor::PeekRows(std::int32_t most) const {
  if (RowIndex >= Height) {
    return {{.first = RowPtr}, most};
  }
  const std::int32_t count = std::min(most, Height - RowIndex);
  if (!AreEquallySpaced(count)) {
    return {{.table = RowTable + RowIndex}, count};
  }
  return {{.first = RowPtr, .step = pixels::BytesFrom(RowPtr, RowStart(RowIndex + 1))}, count};
}

bool PictureEditor::AreEquallySpaced(std::int32_t count) const {
  if (PixelType != &kPixelType8 || count < 3) {
    return true;
  }
  std::uint8_t* const* rows = RowTable + RowIndex;
  const std::ptrdiff_t step = pixels::BytesFrom(rows[0], rows[1]);
  std::int32_t row = 2;
  while (row < count && pixels::BytesFrom(rows[row - 1], rows[row]) == step) {
    ++row;
  }
  return row == count;
}

bool PictureWriter::NewPictureWriter(std::int32_t width, std::int32_t height) {
  constexpr std::int32_t kMost = 32767;
  if (width < 1 || width > kMost || height < 1 || height > kMost) {
    return false;
  }
  SetGWorld(nullptr, nullptr);
  Reference<REALpictureStruct> picture(REALNewPicture(width, height, 32));
  const bool isOpen = GetPictureEditor(picture.Get(), false, true);
  picture.GiveBack();
  return isOpen;
}

bool PictureWriter::NewPictureWriter(REALpictureStruct* dest, std::int32_t width, std::int32_t height) {
  if (dest != nullptr) {
    const bool isWideEnough = IntegerProperty(dest, "Width") >= width;
    const bool isHighEnough = IntegerProperty(dest, "Height") >= height;
    if (isWideEnough && isHighEnough && GetPictureEditor(dest, false, true)) {
      return true;
    }
  }
  return NewPictureWriter(width, height);
}

}  // namespace rastel
