#include "rastel-host/raw.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "devhost/oracle.h"
#include "rastel-host/files.h"
#include "rastel-host/output.h"
#include "rastel-host/program.h"

namespace devhost::program {
namespace {

std::uint8_t ByteFor(char letter, const Pixel& pixel) {
  const oracle::Colour colour{pixel.red, pixel.green, pixel.blue};
  const int gray = (299 * pixel.red + 587 * pixel.green + 114 * pixel.blue + 500) / 1000;
  return letter == 'Y' ? static_cast<std::uint8_t>(gray)
                       : oracle::ByteFor(letter, colour, pixel.fourth, {}, pixel.fourth);
}

/// The picture that `size` pixels in `bytes` show.
Image Unpack(std::span<const std::uint8_t> bytes, const RawForm& form, Size size) {
  const std::string letters = LettersOf(form);
  const std::int64_t rowBytes = RowBytes(form, size.width);
  const bool hasAlpha = letters.find('A') != std::string::npos;
  Image image(size.width, size.height);
  for (std::int32_t y = 0; y < size.height; ++y) {
    const std::uint8_t* pixel = bytes.data() + form.offset + y * rowBytes;
    for (std::int32_t x = 0; x < size.width; ++x) {
      const auto [red, green, blue] = oracle::ReadPixel(letters, pixel);
      image.At(x, y) = {red, green, blue, hasAlpha ? oracle::ByteOf(letters, 'A', pixel) : std::uint8_t{255}};
      pixel += letters.size();
    }
  }
  return image;
}

Image ReadRaw(const std::string& path, const RawForm& form) {
  const std::string name = path == "-" ? "standard input" : path;
  if (!form.size) {
    throw Failure(Status::kUsage,
                  "--size: expected the size of the raw bytes in " + name + ", such as 640x480");
  }
  CheckImageSize(Status::kUsage, "--size", form.size->width, form.size->height);
  const std::int64_t rowBytes = RowBytes(form, form.size->width);
  const std::int64_t whole = BlockBytes(form, rowBytes, form.size->height);
  const std::int64_t least =
      whole - rowBytes + form.size->width * static_cast<std::int64_t>(LettersOf(form).size());
  const auto bytes = ReadBytes(path, static_cast<std::size_t>(whole) + 1);
  const auto found = static_cast<std::int64_t>(bytes.size());
  if (found != whole && found != least) {
    throw Failure(Status::kFile, name + ": " + (found < whole ? "truncated, " : "") + "expected " +
                                     std::to_string(whole) + " raw bytes (" + std::to_string(form.offset) +
                                     " and " + std::to_string(form.size->height) + " rows of " +
                                     std::to_string(rowBytes) + "), found " +
                                     (found > whole ? "more" : std::to_string(found)));
  }
  return Unpack(bytes, form, *form.size);
}

}  // namespace

std::string LettersOf(const RawForm& form) {
  return form.layout == "gray" ? "Y" : form.layout;
}

std::int64_t RowBytes(const RawForm& form, std::int32_t width) {
  const std::int64_t packed = width * static_cast<std::int64_t>(LettersOf(form).size());
  const std::int64_t rowBytes = form.stride.value_or(packed);
  if (rowBytes < packed) {
    throw Failure(Status::kUsage, "--stride: expected at least " + std::to_string(packed) + " bytes, for " +
                                      std::to_string(width) + " pixels of " + form.layout + ", got " +
                                      std::to_string(rowBytes));
  }
  return rowBytes;
}

std::int32_t BlockBytes(const RawForm& form, std::int64_t rowBytes, std::int32_t rows) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  const std::int64_t bytes = form.offset + rowBytes * rows;
  if (bytes > kMost) {
    throw Failure(Status::kUsage, "expected at most " + std::to_string(kMost) +
                                      " bytes, as a memory block has, got " + std::to_string(bytes) +
                                      ": --offset " + std::to_string(form.offset) + " and " +
                                      std::to_string(rows) + " rows of " + std::to_string(rowBytes));
  }
  return static_cast<std::int32_t>(bytes);
}

std::vector<std::uint8_t> Pack(const Image& image, std::string_view letters) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(image.pixels.size() * letters.size());
  for (const Pixel& pixel : image.pixels) {
    for (const char letter : letters) {
      bytes.push_back(ByteFor(letter, pixel));
    }
  }
  return bytes;
}

Image ReadPixels(const std::string& path, const RawForm& form) {
  if (!IsPng(path)) {
    return ReadRaw(path, form);
  }
  if (form.size) {
    throw Failure(Status::kUsage, "--size: expected raw bytes as IN, got the PNG picture " + path);
  }
  Image image = ReadImage(path);
  const auto lost = std::ranges::count_if(image.pixels, [](Pixel pixel) { return pixel.fourth != 255; });
  if (lost > 0) {
    Say(path + ": not used: the alpha of " + Count(lost, "pixel") + ", since the host's pictures have none");
  }
  return image;
}

void WritePixels(const std::string& path, std::span<const std::uint8_t> block, const RawForm& form,
                 Size size) {
  if (IsPng(path)) {
    WriteImage(path, Unpack(block, form, size));
  } else {
    WriteBytes(path, block);
  }
}

}  // namespace devhost::program
