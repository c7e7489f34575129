// Pictures in PNG files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "devhost/objects.h"
#include "rastel-host/program.h"

namespace devhost::program {

/// The most pixels that a picture has in either direction; the fewest are 1.
inline constexpr std::int32_t kMostPixels = 32767;

/// The most pixels of a picture from a file, whatever its shape: a small file may promise a huge picture.
inline constexpr std::int64_t kMostPixelsOfAFile = std::int64_t{1} << 26;

/// Pixels row by row, top row first, without padding. A pixel's fourth byte is its alpha.
struct Image {
  Image() = default;
  Image(std::int32_t imageWidth, std::int32_t imageHeight);

  std::int32_t width = 0;   // pixels
  std::int32_t height = 0;  // rows
  std::vector<Pixel> pixels;

  /// The pixel in column `x` of row `y`, both from 0.
  Pixel& At(std::int32_t x, std::int32_t y) { return pixels[Index(x, y)]; }
  const Pixel& At(std::int32_t x, std::int32_t y) const { return pixels[Index(x, y)]; }

 private:
  std::size_t Index(std::int32_t x, std::int32_t y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
  }
};

/// Throws Failure with `status` if a picture cannot have this size; `what` claims it.
void CheckImageSize(Status status, const std::string& what, std::int64_t width, std::int64_t height);

/// True if `path` ends in .png, in either case: other names mean raw bytes. Throws Failure (kUsage) for the
/// name of a picture in another format.
bool IsPng(const std::string& path);

/// Reads a PNG file. Samples are kept as they are: those of less than 8 bits are scaled to 8, those of 16
/// lose the low byte, and pixels without alpha get 255. Says what else the file holds and is not used. Throws
/// Failure: kUsage if it is not named .png, kFile.
Image ReadImage(const std::string& path);

/// Writes a PNG file. Throws Failure as WriteBytes does, and kUsage if it is not named .png.
void WriteImage(const std::string& path, const Image& image);

}  // namespace devhost::program
