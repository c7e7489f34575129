// Access to a picture's pixels: finds and locks them, steps from row to row, and releases them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "abi/records.h"
#include "picture/description.h"
#include "picture/pixel_type.h"
#include "pixels/address.h"

namespace rastel {

/// Rows that can be converted at once.
struct RowRun {
  pixels::Places<std::uint8_t> starts;  // of each row
  std::int32_t count;                   // at least 1
};

/// What a method reaches pixels with. It lives on the stack during one call of the method. While it is open
/// it holds one reference to the picture and the locks of its pixels. The destructor gives them back; a host
/// that throws meanwhile ends the process. Everyone may read the fields; only this class writes them.
class PictureEditor {
 public:
  PictureEditor() = default;
  PictureEditor(const PictureEditor&) = delete;
  PictureEditor& operator=(const PictureEditor&) = delete;
  virtual ~PictureEditor();

  /// Closes what is open and opens `picture`, which may be null. With `allowCopy` and without `forWriting`, a
  /// picture whose pixels cannot be locked is copied, and the copy is opened instead. False if there are no
  /// pixels: the editor is closed then. No host exception is raised. If the host throws, everything is
  /// released.
  bool GetPictureEditor(REALpictureStruct* picture, bool allowCopy, bool forWriting);

  /// Closes the editor and gives its picture, or else a picture made from the buffer of its description, with
  /// one reference for the caller. Null if it has neither.
  REALpictureStruct* RenderPictureWriter();

  /// Steps to the next row. After the last row it is row 0, however often it steps.
  void NextRow();

  /// Gives up to `most` rows (at least 1) from the current one on, and does not step. They come as a table
  /// only if they are not equally far apart. After the last row all of them are row 0.
  RowRun PeekRows(std::int32_t most) const;

  /// Steps `count` rows on (at least 0), like as many calls of NextRow.
  void SkipRows(std::int32_t count);

  /// Bytes from one row to the next. With pixel type 8 the rows are found by `RowTable` instead.
  std::int32_t RowBytes = 0;
  std::int32_t Width = 0;          // pixels
  std::int32_t Height = 0;         // rows
  std::int32_t BytesPerPixel = 0;  // 3 or 4
  /// Always 0. The host's code knows a field of this name; nobody reads it here.
  std::int32_t SpareWord = 0;
  const PixelTypeTraits* PixelType = nullptr;  // null while nothing has been opened
  std::uint8_t* RowPtr = nullptr;              // the current row
  REALpictureDescription PictureDescription{};
  std::uint8_t* BaseAddress = nullptr;  // row 0
  /// Always 0, likewise.
  std::int32_t ColumnIndex = 0;
  std::int32_t RowIndex = 0;             // number of the current row
  REALpictureStruct* Picture = nullptr;  // null while nothing is open
  void* PixMapHandle = nullptr;          // the locked pixel map of a legacy graphics world, or null
  std::uint8_t** RowTable = nullptr;     // the row starts of pixel type 8
  bool AllowCopyFlag = false;
  bool ClearCacheOnClose = false;  // if the host must be told that the pixels have changed
  bool DescriptionLocked = false;  // if closing has to unlock `Picture`

 private:
  /// kReadingCopy: the picture is an opaque copy, of which no other copy is made.
  enum class Purpose : unsigned char { kWriting, kReading, kReadingCopy };
  /// kUndecided: the picture may still be opened as a bitmap.
  enum class Outcome : unsigned char { kOpened, kFailed, kUndecided };

  bool Open(REALpictureStruct* picture, bool allowCopy, Purpose purpose);
  Outcome OpenNative(REALpictureStruct* picture, Purpose purpose);
  Outcome OpenLegacyWorld(REALpictureStruct* picture, Purpose purpose);
  Outcome OpenUnsupportedDepth(REALpictureStruct* picture, void* pixMap, Purpose purpose);
  /// `pixMap` is the picture's pixel map, or null. It is unlocked once before the copy is opened.
  Outcome OpenOpaqueCopy(REALpictureStruct* picture, std::int32_t width, std::int32_t height, void* pixMap);
  bool OpenBitmap(REALpictureStruct* picture);
  void Hold(REALpictureStruct* picture, DescriptionLock& description);
  void StartAt(std::uint8_t* firstRow);
  void CloseEditor();
  std::uint8_t* RowStart(std::int32_t row) const;
  bool AreEquallySpaced(std::int32_t count) const;
};

/// An editor for reading: opened with GetPictureEditor(picture, true, false).
class PictureReader final : public PictureEditor {};

class PictureWriter final : public PictureEditor {
 public:
  /// Opens a new 32-bit picture of `width` × `height` pixels (1 to 32767 each). False if there is none.
  bool NewPictureWriter(std::int32_t width, std::int32_t height);

  /// Opens `dest` if it has at least `width` × `height` pixels and can be written. Otherwise, or if `dest` is
  /// null, opens a new picture of that size. False if there is none.
  bool NewPictureWriter(REALpictureStruct* dest, std::int32_t width, std::int32_t height);
};

}  // namespace rastel
