// The objects of the development host, as the application sees them. Pixels are reached row by row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "abi/records.h"

namespace devhost {

/// How a picture keeps its pixels in memory.
enum class PixelFormat {
  kBitmap,   // pixel type 8: blue, green, red, fourth byte; rows scattered, found through a table
  kWorld32,  // pixel type 13: alpha, red, green, blue
  kWorld24,  // pixel type 12: red, green, blue
  kWorld16,  // two bytes a pixel (x1r5g5b5, little-endian): plug-ins read it through an opaque copy
};

int BytesPerPixel(PixelFormat format);

/// The colour channels of one pixel and, where the format has one, its fourth byte (0 elsewhere).
struct Pixel {
  std::uint8_t red, green, blue, fourth;
  bool operator==(const Pixel&) const = default;
};

/// Bytes with a defined first and last: in guarded memory a page without access follows the last byte of each
/// row, and another precedes the page that the row begins in (in very tall pictures, for the rows at either
/// end).
class Memory;

}  // namespace devhost

/// What all counted objects have in common.
struct REALobjectStruct {
  explicit REALobjectStruct(const char* kindName);
  virtual ~REALobjectStruct();
  REALobjectStruct(const REALobjectStruct&) = delete;
  REALobjectStruct& operator=(const REALobjectStruct&) = delete;

  const char* kind;  // "picture", "memoryblock", "string", "array", "exception", "graphics", "url", "bundle"
  int number;        // counts the objects of one host from 1: "picture#2"
  int references = 1;
};

/// A picture.
struct REALpictureStruct final : REALobjectStruct {
  REALpictureStruct(std::int32_t width, std::int32_t height, devhost::PixelFormat format, bool guarded);
  ~REALpictureStruct() override;

  std::int32_t width, height;  // pixels and rows
  devhost::PixelFormat format;
  std::int32_t pictureType = 2;       // what "PluginPictureGetType" says; 0, 1 and 3 are no write targets
  REALpictureStruct* mask = nullptr;  // with a reference of its own
  int descriptionLocks = 0;
  int pixelLocks = 0;

  /// The start of row `row` (0 ≤ row < height): width × BytesPerPixel(format) bytes.
  std::uint8_t* Row(std::int32_t row) const;
  std::size_t RowLength() const;  // bytes of one row's pixels
  devhost::Pixel At(std::int32_t x, std::int32_t y);
  void Set(std::int32_t x, std::int32_t y, devhost::Pixel pixel);

  /// True if no byte outside the rows' pixels, as far as the picture's memory goes, was written.
  bool SurroundingsIntact() const;

  /// Gives the picture a mask (nil takes it away); the picture takes a reference of its own.
  void SetMask(REALpictureStruct* newMask);

  std::unique_ptr<devhost::Memory> memory;
  std::ptrdiff_t rowBytes = 0;           // from one row to the next, except in kBitmap
  std::unique_ptr<BitmapRecord> bitmap;  // kBitmap only: what a locked description points at
  std::vector<std::uint8_t*> rowTable;   // kBitmap only
};

struct REALmemoryBlockStruct final : REALobjectStruct {
  REALmemoryBlockStruct(std::int32_t size, bool guarded);
  ~REALmemoryBlockStruct() override;

  std::uint8_t* bytes() const;
  bool SurroundingsIntact() const;  // likewise
  std::int32_t size;
  std::unique_ptr<devhost::Memory> memory;
  std::uint8_t* elsewhere = nullptr;  // if set, the bytes are there, in memory of the application's own
};

struct REALstringStruct final : REALobjectStruct {
  REALstringStruct(std::string text, std::uint32_t textEncoding);
  std::string bytes;
  std::uint32_t encoding;
};

namespace devhost {

/// A counted reference to a host object, dropped with the holder; it means nothing once the host is gone.
template <typename Object>
class Ref {
 public:
  Ref() = default;
  explicit Ref(Object* owned) : object_(owned) {}  // takes over one reference
  Ref(Ref&& other) noexcept : object_(other.release()) {}
  Ref& operator=(Ref&& other) noexcept {
    reset(other.release());
    return *this;
  }
  ~Ref() { reset(); }

  Object* get() const { return object_; }
  Object* operator->() const { return object_; }
  Object& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }

  /// Hands the reference over to the caller.
  Object* release() { return std::exchange(object_, nullptr); }
  void reset(Object* owned = nullptr);  // drops the reference held

 private:
  Object* object_ = nullptr;
};

}  // namespace devhost
