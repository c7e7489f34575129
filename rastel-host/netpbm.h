// The picture formats P6 (.ppm) and P7 (.pam), with one byte for each sample.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "rastel-host/image.h"

namespace devhost::program {

/// Decodes P6, or P7 with DEPTH 1, 3 or 4, with the largest value 255. `path` is for messages only.
/// Throws Failure (kFile) for anything else, and if pixels are missing.
Image DecodeNetpbm(const std::string& path, const std::vector<std::uint8_t>& bytes);

/// P6: red, green, blue.
std::vector<std::uint8_t> EncodePpm(const Image& image);

/// P7 with DEPTH 4: red, green, blue, alpha.
std::vector<std::uint8_t> EncodePam(const Image& image);

}  // namespace devhost::program
