// A picture's pixels: found, locked, walked row by row, and released.
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
  pixels::Places<std::uint8_t> starts;
  std::int32_t count;
};

/// The one object through which pixels are reached. Lives on the stack of one method's call. While it is open
/// it holds one reference to the picture and the locks that its pixels need; its destructor gives them back,
/// and a host that throws there ends the process. The fields are read by everyone and written here alone.
class PictureEditor {
 public:
  PictureEditor() = default;
  PictureEditor(const PictureEditor&) = delete;
  PictureEditor& operator=(const PictureEditor&) = delete;
  virtual ~PictureEditor();

  /// Closes what is open and opens `picture`. A picture that cannot be described is read through an opaque
  /// copy if `allowCopy` is true and `forWriting` is not. False if the pixels cannot be had: the editor is
  /// closed then. Raises nothing; host exceptions pass, with everything released.
  bool GetPictureEditor(REALpictureStruct* picture, bool allowCopy, bool forWriting);

  /// Gives the finished picture, with one reference for the caller, or null if the editor holds neither a
  /// picture nor a buffer. Closes the editor.
  REALpictureStruct* RenderPictureWriter();

  /// Steps to the next row; after the last one, and from then on, that is row 0 again.
  void NextRow();

  /// At most `most` (at least 1) rows from the current one on. A table says where they begin only if they are
  /// not equally spaced. Behind the last row there is only row 0, as often as wanted.
  RowRun PeekRows(std::int32_t most) const;

  /// Steps `count` (at least 0) rows on, as that many calls of NextRow do.
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
  bool ClearCacheOnClose = false;  // the host is told that the pixels have changed
  bool DescriptionLocked = false;

 private:
  /// An opaque copy is read as it is: no copy is made of it.
  enum class Purpose : unsigned char { kWriting, kReading, kReadingCopy };
  /// kUndecided: the picture may still be opened as a bitmap.
  enum class Outcome : unsigned char { kOpened, kFailed, kUndecided };

  bool Open(REALpictureStruct* picture, bool allowCopy, Purpose purpose);
  Outcome OpenNative(REALpictureStruct* picture, Purpose purpose);
  Outcome OpenLegacyWorld(REALpictureStruct* picture, Purpose purpose);
  Outcome OpenUnsupportedDepth(REALpictureStruct* picture, void* pixMap, Purpose purpose);
  /// `pixMap` is the picture's pixel map, or null if it has none.
  Outcome OpenOpaqueCopy(REALpictureStruct* picture, std::int32_t width, std::int32_t height, void* pixMap);
  bool OpenBitmap(REALpictureStruct* picture);
  void Hold(REALpictureStruct* picture, DescriptionLock& description);
  void StartAt(std::uint8_t* firstRow);
  void CloseEditor();
  std::uint8_t* RowStart(std::int32_t row) const;
  bool AreEquallySpaced(std::int32_t count) const;
};

/// Opened with GetPictureEditor(picture, true, false).
class PictureReader final : public PictureEditor {};

class PictureWriter final : public PictureEditor {
 public:
  /// Opens a new 32-bit picture of `width` × `height` pixels (1 to 32767 each). False if that cannot be.
  bool NewPictureWriter(std::int32_t width, std::int32_t height);

  /// Opens `dest` if it is at least `width` × `height` pixels and can be written, and a new picture
  /// otherwise; `dest` may be null. False if neither can be.
  bool NewPictureWriter(REALpictureStruct* dest, std::int32_t width, std::int32_t height);
};

}  // namespace rastel
