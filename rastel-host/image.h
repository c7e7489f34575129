// Pictures and raw bytes in files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace devhost::program {

struct Rgba {
  std::uint8_t red, green, blue, alpha;
  bool operator==(const Rgba&) const = default;
};

/// The most pixels that a picture has in either direction; the fewest are 1.
inline constexpr std::int32_t kMostPixels = 32767;

/// The most pixels of a picture that is read from a file, whatever its shape: a small file may promise a huge
/// picture.
inline constexpr std::int64_t kMostPixelsOfAFile = std::int64_t{1} << 26;

/// The most bytes that are read from a file or a pipe.
inline constexpr std::size_t kMostBytes = std::size_t{1} << 29;

/// Pixels row by row, top row first, without padding.
struct Image {
  Image() = default;
  Image(std::int32_t imageWidth, std::int32_t imageHeight);

  std::int32_t width = 0;   // pixels
  std::int32_t height = 0;  // rows
  std::vector<Rgba> pixels;

  /// The pixel in column `x` of row `y`, both from 0.
  Rgba& At(std::int32_t x, std::int32_t y) { return pixels[Index(x, y)]; }
  const Rgba& At(std::int32_t x, std::int32_t y) const { return pixels[Index(x, y)]; }

 private:
  std::size_t Index(std::int32_t x, std::int32_t y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
  }
};

/// True if `path` names a picture: .png, .ppm or .pam, in either case. Other names mean raw bytes.
bool IsPictureName(const std::string& path);

/// The whole file, or standard input if `path` is "-". Throws Failure (kFile) if it cannot be read or is
/// longer than kMostBytes.
std::vector<std::uint8_t> ReadBytes(const std::string& path);

/// Writes to standard output if `path` is "-", and else writes the whole file or leaves no trace of it: a
/// file that cannot be completed does not replace an old one. Throws Failure (kFile).
void WriteBytes(const std::string& path, const std::vector<std::uint8_t>& bytes);

/// Reads a picture (PNG, P6, P7), in the format that its first bytes tell; pixels without an alpha get 255.
/// Throws Failure (kFile) if the file cannot be read, is no such picture, or is larger than CheckImageSize
/// allows.
Image ReadImage(const std::string& path);

/// Writes a picture in the format that its name tells; .ppm drops the alpha.
void WriteImage(const std::string& path, const Image& image);

/// Throws Failure (kFile) if a picture cannot have this size or is too large to be read; `path` is the file
/// that claims it.
void CheckImageSize(const std::string& path, std::int64_t width, std::int64_t height);

}  // namespace devhost::program
