// Pixels in PNG files and in raw bytes of a named layout.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rastel-host/image.h"
#include "rastel-host/options.h"

namespace devhost::program {

/// The names of the layouts. They name a pixel's bytes in their order, X a byte that means nothing; gray is
/// one byte for all three colours.
inline const std::vector<std::string> kLayouts = {"RGB",  "BGR",  "ARGB", "ABGR", "RGBA", "BGRA", "XRGB",
                                                  "XBGR", "RGBX", "BGRX", "gray", "R",    "G",    "B"};

/// How pixels lie in raw bytes.
struct RawForm {
  std::string layout = "RGB";
  std::optional<Size> size;
  std::optional<std::int32_t> stride;  // bytes from row to row; else rows are packed
  std::int32_t offset = 0;             // bytes ahead of the first row
};

/// The layout as devhost/oracle.h writes it: "Y" for gray.
std::string LettersOf(const RawForm& form);

/// Bytes from row to row. Throws Failure (kUsage) if the form's stride is less than a packed row.
std::int64_t RowBytes(const RawForm& form, std::int32_t width);

/// The bytes of `rows` rows with what is ahead of them. Throws Failure (kUsage) if these are more than a
/// memory block has.
std::int32_t BlockBytes(const RawForm& form, std::int64_t rowBytes, std::int32_t rows);

/// The picture's pixels without padding: alpha goes into the byte of A or X, a gray byte is
/// (299 red + 587 green + 114 blue + 500) / 1000.
std::vector<std::uint8_t> Pack(const Image& image, std::string_view letters);

/// Reads a PNG file, or raw bytes, which are standard input if `path` is "-"; says that alpha is not used.
/// The last row of raw bytes may end with its last pixel. Throws Failure: kUsage if the form does not fit the
/// file, kFile if that cannot be read, is no picture, or has another number of bytes.
Image ReadPixels(const std::string& path, const RawForm& form);

/// Writes `block`, which holds `size` pixels, as raw bytes, or as the PNG picture that they show: a colour
/// that the layout has not is 0, and alpha is 255 unless the layout has one. Throws Failure as WriteBytes
/// does.
void WritePixels(const std::string& path, std::span<const std::uint8_t> block, const RawForm& form,
                 Size size);

}  // namespace devhost::program
