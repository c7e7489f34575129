#include "rastel-host/raw.h"

#include "rastel-host/failure.h"

namespace devhost::program {

bool IsRaw(const std::string& path, const RawForm& form) {
  return path == "-" ? form.size.has_value() : !IsPictureName(path);
}

std::int64_t StrideOf(const RawForm& form, std::int32_t width) {
  const std::int64_t packed = std::int64_t{width} * LayoutNamed(form.layout).pixelBytes;
  if (form.stride != 0 && form.stride < packed) {
    throw Failure(Status::kUsage, "--stride: expected at least " + std::to_string(packed) + " bytes for " +
                                      std::to_string(width) + " pixels of " + form.layout + ", got " +
                                      std::to_string(form.stride));
  }
  return form.stride == 0 ? packed : form.stride;
}

Image ReadPixels(const std::string& path, const RawForm& form) {
  const Layout& layout = LayoutNamed(form.layout);
  if (!IsRaw(path, form)) {
    return ReadImage(path);
  }
  if (!form.size) {
    throw Failure(Status::kUsage, "--size: expected the size of the raw bytes in " + path);
  }
  const auto [width, height] = *form.size;
  const std::int64_t stride = StrideOf(form, width);
  const std::int64_t whole = form.offset + stride * height;
  const std::int64_t least = whole - stride + std::int64_t{width} * layout.pixelBytes;
  auto bytes = ReadBytes(path);
  const auto found = static_cast<std::int64_t>(bytes.size());
  if (found != whole && found != least) {
    throw Failure(Status::kFile, (path == "-" ? "standard input" : path) + ": expected " +
                                     std::to_string(whole) + " raw bytes (" + std::to_string(form.offset) +
                                     " and " + std::to_string(height) + " rows of " + std::to_string(stride) +
                                     "), found " + std::to_string(found));
  }
  bytes.erase(bytes.begin(), bytes.begin() + form.offset);
  return Unpack(bytes, stride, width, height, layout);
}

}  // namespace devhost::program
