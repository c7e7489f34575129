// Pixels from a file or a pipe: a picture, or raw bytes whose form the command line tells.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "rastel-host/image.h"
#include "rastel-host/layout.h"
#include "rastel-host/text.h"

namespace devhost::program {

/// How pixels lie in raw bytes.
struct RawForm {
  std::string layout = "RGB";
  std::optional<Size> size;
  std::int32_t stride = 0;  // bytes from row to row; 0: rows are packed
  std::int32_t offset = 0;  // bytes ahead of the first row
};

/// True for raw bytes: `path` does not name a picture; "-" is raw bytes if a size is given.
bool IsRaw(const std::string& path, const RawForm& form);

/// Bytes from row to row. Throws Failure (kUsage) if the form's stride is less than a packed row.
std::int64_t StrideOf(const RawForm& form, std::int32_t width);

/// Reads a picture or raw bytes. Throws Failure: kUsage if a size is missing, kFile if the file cannot be
/// read or the number of its bytes is not what the form says; the last row may end with its last pixel.
Image ReadPixels(const std::string& path, const RawForm& form);

}  // namespace devhost::program
