#include "rastel-host/families.h"

#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

constexpr Family kFamilies[] = {
    {true, 3, Fourth::kNone, "rgb-to-picture", "Three bytes a pixel to a picture",
     "Makes a picture from a buffer of red, green and blue bytes, or fills a picture with it."},
    {true, 4, Fourth::kAlpha, "argb-to-picture", "Four bytes a pixel to a picture",
     "Makes a picture from a buffer of red, green, blue and alpha bytes, or fills a picture with it. The "
     "alpha is not read: the picture is opaque."},
    {true, 1, Fourth::kNone, "gray-to-picture", "Gray to a picture",
     "Makes a picture from gray samples of one byte or more, of which the first is read. Each gray becomes a "
     "colour: the same in all channels, weighted by channel, or looked up in arrays by channel."},
    {false, 3, Fourth::kNone, "copy-rgb", "A picture to three bytes a pixel",
     "Copies the rows of a picture to a memory block, as red, green and blue bytes."},
    {false, 4, Fourth::kPadding, "copy-padded", "A picture to four bytes a pixel, one of them left alone",
     "Copies the rows of a picture to a memory block, as red, green and blue bytes beside a fourth one that "
     "is never written: it keeps what the block held."},
    {false, 4, Fourth::kAlpha, "copy-alpha", "A picture to four bytes a pixel, with alpha",
     "Copies the rows of a picture to a memory block, as red, green and blue bytes and an alpha byte: the "
     "same for all pixels, or from a mask picture. The picture's own alpha is not read."},
    {false, 1, Fourth::kNone, "copy-channel", "One channel of a picture to bytes at any distance",
     "Copies one channel of the rows of a picture to a memory block, a byte a pixel. The bytes may lie "
     "apart, and what is between them is left alone: three calls build a plane or a layout of your own."},
};

struct Meaning {
  std::string_view argument, type, meaning;
};

constexpr Meaning kMeanings[] = {
    {"ref", "picture", "the picture that the method is called on, and reads"},
    {"dest", "picture",
     "a picture to fill from its top left corner on, if it is large enough and can be written"},
    {"source", "memoryblock", "the buffer. Its size is not checked: it must hold all rows"},
    {"source", "Ptr", "the address of the buffer, which must hold all rows"},
    {"destination", "memoryblock",
     "the block to write to. Its size is not checked: it must have room for all rows"},
    {"offset", "integer", "bytes ahead of the first pixel in the buffer"},
    {"width", "integer", "pixels of a row"},
    {"height", "integer", "rows"},
    {"FlipVertically", "boolean", "true: the last row of the buffer is the top row of the picture"},
    {"LittleEndian", "boolean",
     "true: a pixel is a little-endian word, so its bytes are blue, green, red, alpha"},
    {"PixelByteSize", "integer",
     "bytes from one sample to the next in a row; negative: towards the front of the buffer"},
    {"Red", "integer", "the weight of the red channel: 256 keeps the gray, 128 halves it"},
    {"Blue", "integer", "the weight of the **green** channel, in spite of its name"},
    {"Green", "integer", "the weight of the **blue** channel, in spite of its name"},
    {"Red", "integer array",
     "the red of each gray: element g, clamped to 0 to 255. 0 where there is no element; elements from 256 "
     "on are not read"},
    {"Blue", "integer array", "likewise the **green** of each gray, in spite of its name"},
    {"Green", "integer array", "likewise the **blue** of each gray, in spite of its name"},
    {"AlphaValue", "integer",
     "the alpha of all pixels, its low eight bits: 300 is 44, -1 is 255. With LittleEndian, a value below 0 "
     "or above 255 leaves the alpha bytes as they are"},
    {"MaskForAlpha", "picture",
     "its inverted green is the alpha: white is transparent, black opaque. The copy has its size: pixels to "
     "the right of the picture are black, rows below it are the picture's row 0"},
    {"StartLine", "integer",
     "the first row copied, which lands at offset; a row past the picture is its last row"},
    {"EndLine", "integer",
     "the last row copied; -1, or a row past the picture, is its last row. If that lies before the first "
     "row, nothing is copied and the result is true"},
    {"Yield", "integer",
     "how often the host gets control during the copy: 0 never, n at most every n ticks of 1/60 s, -n at "
     "most every n milliseconds"},
    {"DestRowBytes", "integer", "bytes from one row in the block to the next; packed rows if that is more"},
};

[[noreturn]] void Unknown(std::string_view what) {
  throw Failure(Status::kUsage,
                "nothing is written about " + std::string(what) + " (rastel-host/families.cpp)");
}

/// "RGBtoPictureKVZ" of "PtrRGBtoPictureKVZ".
std::string_view WithoutSource(std::string_view method) {
  for (const std::string_view source : {"Ptr", "Memoryblock"}) {
    if (method.starts_with(source)) {
      return method.substr(source.size());
    }
  }
  return method;
}

}  // namespace

std::span<const Family> Families() {
  return kFamilies;
}

const Layout& LayoutOf(std::string_view method, bool makesPicture) {
  const Layout* found = nullptr;
  for (const Layout& layout : Layouts()) {
    // Methods that make pictures serve several layouts, of which the first is theirs; gray is read by the
    // method of another layout, which comes later.
    if (makesPicture ? found == nullptr && WithoutSource(method) == layout.toPicture
                     : method == layout.toBuffer) {
      found = &layout;
    }
  }
  if (found == nullptr) {
    Unknown(method);
  }
  return *found;
}

const Family& FamilyOf(std::string_view method, bool makesPicture) {
  const Layout& layout = LayoutOf(method, makesPicture);
  for (const Family& family : kFamilies) {
    if (family.makesPicture == makesPicture && family.pixelBytes == layout.pixelBytes &&
        family.fourth == layout.fourth) {
      return family;
    }
  }
  Unknown(method);
}

std::string_view MeaningOf(std::string_view argument, std::string_view type) {
  for (const Meaning& meaning : kMeanings) {
    if (meaning.argument == argument && meaning.type == type) {
      return meaning.meaning;
    }
  }
  Unknown(argument);
}

}  // namespace devhost::program
