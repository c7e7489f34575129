#include "devhost/objects.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <utility>

#include "devhost/memory.h"
#include "devhost/state.h"

namespace devhost {
namespace {

/// An address that no access survives.
constexpr HostWord kPoison = 0xBAD;

/// The bytes of a wider row could not be counted in 32 bits.
constexpr std::int32_t kWidestRow = 0x0FFFFFFF;

constexpr std::size_t kGap = 8;
constexpr std::size_t kGapInWorld32 = 16;
constexpr std::size_t kGapOfMemoryBlock = 64;

std::uint8_t Expand5Bits(unsigned value) {
  value &= 31;
  return static_cast<std::uint8_t>((value << 3) | (value >> 2));
}

Pixel Read16Bits(const std::uint8_t* bytes) {
  const unsigned word = bytes[0] | unsigned{bytes[1]} << 8;
  return {Expand5Bits(word >> 10), Expand5Bits(word >> 5), Expand5Bits(word), 0};
}

void Write16Bits(std::uint8_t* bytes, Pixel pixel) {
  const unsigned word = (pixel.red >> 3) << 10 | (pixel.green >> 3) << 5 | pixel.blue >> 3;
  bytes[0] = static_cast<std::uint8_t>(word);
  bytes[1] = static_cast<std::uint8_t>(word >> 8);
}

MemoryShape ShapeOf(std::int32_t width, std::int32_t height, PixelFormat format, bool guarded) {
  if (width < 0 || height < 0) {
    throw HostError("a picture has no negative width or height");
  }
  if (width > kWidestRow) {
    throw std::bad_alloc();
  }
  MemoryShape shape = {};
  shape.rows = static_cast<std::size_t>(height);
  shape.rowLength = static_cast<std::size_t>(width) * static_cast<std::size_t>(BytesPerPixel(format));
  shape.gap = format == PixelFormat::kWorld32 ? kGapInWorld32 : kGap;
  shape.scattered = format == PixelFormat::kBitmap;
  shape.guarded = guarded;
  return shape;
}

std::uint8_t* PixelAddress(REALpictureStruct& picture, std::int32_t x, std::int32_t y) {
  if (x < 0 || x >= picture.width || y < 0 || y >= picture.height) {
    throw std::out_of_range("no such pixel");
  }
  return picture.Row(y) + std::ptrdiff_t{x} * BytesPerPixel(picture.format);
}

}  // namespace

int BytesPerPixel(PixelFormat format) {
  switch (format) {
    case PixelFormat::kWorld24:
      return 3;
    case PixelFormat::kWorld16:
      return 2;
    default:
      return 4;
  }
}

void Complain(const std::string& text) {
  const std::string entry = Entries::State().runningEntry;
  Host::Current().complaints.push_back(entry.empty() ? text : entry + ": " + text);
}

bool RequireAddress(const void* address) {
  if (address == nullptr) {
    Complain("a null address was passed");
  }
  return address != nullptr;
}

void Retain(REALobjectStruct* object) {
  ++object->references;
}

void Release(REALobjectStruct* object) {
  if (FindLive(object) == nullptr) {
    Complain("a reference was dropped that is not held");
  } else if (--object->references == 0) {
    delete object;
  }
}

template <typename Object>
void Ref<Object>::reset(Object* owned) {
  Object* const dropped = std::exchange(object_, owned);
  if (dropped != nullptr && HostExists()) {
    Release(AsObject(dropped));
  }
}

template class Ref<REALpictureStruct>;
template class Ref<REALmemoryBlockStruct>;
template class Ref<_REALarrayInteger>;

IntegerArray::IntegerArray(std::vector<std::int32_t> values, double hostVersion)
    : REALobjectStruct("array"), elements(std::move(values)) {
  std::fill(std::begin(words), std::end(words), kPoison);
  if (hostVersion < 2008.0) {
    before2008.elements = elements.data();
  } else if (hostVersion < 2016.0) {
    before2016.elements = elements.data();
  }
}

ExceptionObject::ExceptionObject(std::string name)
    : REALobjectStruct("exception"), className(std::move(name)) {}

GraphicsObject::GraphicsObject(REALpictureStruct* drawnOn) : REALobjectStruct("graphics"), picture(drawnOn) {
  Retain(picture);
}

GraphicsObject::~GraphicsObject() {
  Release(picture);
}

PlatformObject::PlatformObject(const char* kindName, std::string fileName)
    : REALobjectStruct(kindName), name(std::move(fileName)) {}

}  // namespace devhost

using devhost::Entries;
using devhost::Pixel;
using devhost::PixelFormat;

REALobjectStruct::REALobjectStruct(const char* kindName)
    : kind(kindName), number(++Entries::State().lastNumber) {
  Entries::State().live.insert(this);
}

REALobjectStruct::~REALobjectStruct() {
  Entries::State().live.erase(this);
}

REALpictureStruct::REALpictureStruct(std::int32_t pictureWidth, std::int32_t pictureHeight,
                                     PixelFormat pixelFormat, bool guarded)
    : REALobjectStruct("picture"),
      width(pictureWidth),
      height(pictureHeight),
      format(pixelFormat),
      memory(std::make_unique<devhost::Memory>(devhost::ShapeOf(width, height, format, guarded))),
      rowBytes(static_cast<std::ptrdiff_t>(memory->rowBytes())) {
  if (format != PixelFormat::kBitmap) {
    return;
  }
  for (std::int32_t row = 0; row < height; ++row) {
    rowTable.push_back(Row(row));
  }
  rowTable.push_back(nullptr);  // gives a table to a picture without rows, too
  bitmap = std::make_unique<BitmapRecord>();
  std::fill(std::begin(bitmap->words3to1805), std::end(bitmap->words3to1805),
            static_cast<std::int32_t>(devhost::kPoison));
  bitmap->width = width;
  bitmap->height = height;
  bitmap->word1806 = 1;
  bitmap->rowTable = rowTable.data();
}

REALpictureStruct::~REALpictureStruct() {
  if (descriptionLocks != 0 || pixelLocks != 0) {
    devhost::Complain("picture#" + std::to_string(number) + " died while it was locked");
  }
  if (mask != nullptr) {
    devhost::Release(mask);
  }
}

std::uint8_t* REALpictureStruct::Row(std::int32_t row) const {
  return memory->Row(static_cast<std::size_t>(row));
}

std::size_t REALpictureStruct::RowLength() const {
  return static_cast<std::size_t>(width) * static_cast<std::size_t>(devhost::BytesPerPixel(format));
}

Pixel REALpictureStruct::At(std::int32_t x, std::int32_t y) {
  const std::uint8_t* bytes = devhost::PixelAddress(*this, x, y);
  switch (format) {
    case PixelFormat::kBitmap:
      return {bytes[2], bytes[1], bytes[0], bytes[3]};
    case PixelFormat::kWorld32:
      return {bytes[1], bytes[2], bytes[3], bytes[0]};
    case PixelFormat::kWorld24:
      return {bytes[0], bytes[1], bytes[2], 0};
    default:
      return devhost::Read16Bits(bytes);
  }
}

void REALpictureStruct::Set(std::int32_t x, std::int32_t y, Pixel pixel) {
  std::uint8_t* bytes = devhost::PixelAddress(*this, x, y);
  const auto write = [bytes](std::initializer_list<std::uint8_t> values) {
    std::ranges::copy(values, bytes);
  };
  switch (format) {
    case PixelFormat::kBitmap:
      return write({pixel.blue, pixel.green, pixel.red, pixel.fourth});
    case PixelFormat::kWorld32:
      return write({pixel.fourth, pixel.red, pixel.green, pixel.blue});
    case PixelFormat::kWorld24:
      return write({pixel.red, pixel.green, pixel.blue});
    default:
      return devhost::Write16Bits(bytes, pixel);
  }
}

bool REALpictureStruct::SurroundingsIntact() const {
  return memory->SurroundingsIntact();
}

void REALpictureStruct::SetMask(REALpictureStruct* newMask) {
  if (newMask != nullptr) {
    devhost::Retain(newMask);
  }
  if (mask != nullptr) {
    devhost::Release(mask);
  }
  mask = newMask;
}

REALmemoryBlockStruct::REALmemoryBlockStruct(std::int32_t blockSize, bool guarded)
    : REALobjectStruct("memoryblock"), size(blockSize) {
  if (size < 0) {
    throw devhost::HostError("a memory block has no negative size");
  }
  const devhost::MemoryShape shape = {1, static_cast<std::size_t>(size), devhost::kGapOfMemoryBlock, false,
                                      guarded};
  memory = std::make_unique<devhost::Memory>(shape);
}

REALmemoryBlockStruct::~REALmemoryBlockStruct() = default;

std::uint8_t* REALmemoryBlockStruct::bytes() const {
  return elsewhere != nullptr ? elsewhere : memory->Row(0);
}

bool REALmemoryBlockStruct::SurroundingsIntact() const {
  return memory->SurroundingsIntact();
}

REALstringStruct::REALstringStruct(std::string text, std::uint32_t textEncoding)
    : REALobjectStruct("string"), bytes(std::move(text)), encoding(textEncoding) {}
