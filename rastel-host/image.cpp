#include "rastel-host/image.h"

#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>

#include "rastel-host/failure.h"
#include "rastel-host/netpbm.h"

namespace devhost::program {
namespace {

static_assert(sizeof(Rgba) == 4, "pixels are handed to the PNG library as they lie in memory");

std::string Extension(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  return extension;
}

/// The PNG library's control record, released with its holder.
struct PngControl {
  PngControl() { image.version = PNG_IMAGE_VERSION; }
  ~PngControl() { png_image_free(&image); }
  PngControl(const PngControl&) = delete;
  PngControl& operator=(const PngControl&) = delete;
  png_image image{};
};

Image DecodePng(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  PngControl control;
  const auto fail = [&] {
    throw Failure(Status::kFile, path + ": expected a PNG picture (" + control.image.message + ")");
  };
  if (png_image_begin_read_from_memory(&control.image, bytes.data(), bytes.size()) == 0) {
    fail();
  }
  CheckImageSize(path, control.image.width, control.image.height);
  control.image.format = PNG_FORMAT_RGBA;
  Image image(static_cast<std::int32_t>(control.image.width),
              static_cast<std::int32_t>(control.image.height));
  if (png_image_finish_read(&control.image, nullptr, image.pixels.data(), 0, nullptr) == 0) {
    fail();
  }
  return image;
}

std::vector<std::uint8_t> EncodePng(const std::string& path, const Image& image) {
  PngControl control;
  control.image.width = static_cast<png_uint_32>(image.width);
  control.image.height = static_cast<png_uint_32>(image.height);
  control.image.format = PNG_FORMAT_RGBA;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(control.image);
  std::vector<std::uint8_t> bytes(size);
  if (png_image_write_to_memory(&control.image, bytes.data(), &size, 0, image.pixels.data(), 0, nullptr) ==
      0) {
    throw Failure(Status::kFile, path + ": the PNG picture cannot be made (" + control.image.message + ")");
  }
  bytes.resize(size);
  return bytes;
}

std::vector<std::uint8_t> ReadAll(std::istream& stream, const std::string& name) {
  std::vector<std::uint8_t> bytes;
  for (char piece[65536]; stream && bytes.size() <= kMostBytes;) {
    stream.read(piece, sizeof piece);
    bytes.insert(bytes.end(), piece, piece + stream.gcount());
  }
  if (stream.bad()) {
    throw Failure(Status::kFile, name + ": cannot be read");
  }
  if (bytes.size() > kMostBytes) {
    throw Failure(Status::kFile, name + ": expected at most " + std::to_string(kMostBytes) + " bytes");
  }
  return bytes;
}

void WriteStream(const std::filesystem::path& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream stream(path, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  stream.close();
  if (!stream) {
    throw Failure(Status::kFile, path.string() + ": cannot be written");
  }
}

}  // namespace

Image::Image(std::int32_t imageWidth, std::int32_t imageHeight)
    : width(imageWidth),
      height(imageHeight),
      pixels(static_cast<std::size_t>(imageWidth) * static_cast<std::size_t>(imageHeight)) {}

bool IsPictureName(const std::string& path) {
  const std::string extension = Extension(path);
  return extension == ".png" || extension == ".ppm" || extension == ".pam";
}

std::vector<std::uint8_t> ReadBytes(const std::string& path) {
  if (path == "-") {
    return ReadAll(std::cin, "standard input");
  }
  std::error_code error;
  const auto type = std::filesystem::status(path, error).type();
  if (type == std::filesystem::file_type::not_found) {
    throw Failure(Status::kFile, path + ": no such file");
  }
  if (type != std::filesystem::file_type::regular && type != std::filesystem::file_type::fifo) {
    throw Failure(Status::kFile, path + ": expected a file that can be read");
  }
  std::ifstream stream(path, std::ios::binary);
  if (!stream.is_open()) {
    throw Failure(Status::kFile, path + ": cannot be read");
  }
  return ReadAll(stream, path);
}

void WriteBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  if (path == "-") {
    std::cout.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!std::cout.flush()) {
      throw Failure(Status::kFile, "standard output: cannot be written");
    }
    return;
  }
  std::error_code error;
  const auto target = std::filesystem::weakly_canonical(path, error);
  if (error || std::filesystem::is_directory(target)) {
    throw Failure(Status::kFile, path + ": expected the name of a file to write");
  }
  if (std::filesystem::exists(target) && !std::filesystem::is_regular_file(target)) {
    WriteStream(target, bytes);  // a device or a pipe, which a rename would replace
    return;
  }
  auto beside = target;
  beside += ".part" + std::to_string(getpid());
  try {
    WriteStream(beside, bytes);
    std::filesystem::rename(beside, target);
  } catch (const std::exception&) {
    std::filesystem::remove(beside, error);
    throw Failure(Status::kFile, path + ": cannot be written");
  }
}

Image ReadImage(const std::string& path) {
  const auto bytes = ReadBytes(path);
  const bool isPng = bytes.size() >= 8 && png_sig_cmp(bytes.data(), 0, 8) == 0;
  return isPng ? DecodePng(path, bytes) : DecodeNetpbm(path, bytes);
}

void WriteImage(const std::string& path, const Image& image) {
  const std::string extension = Extension(path);
  WriteBytes(path, extension == ".png"   ? EncodePng(path, image)
                   : extension == ".ppm" ? EncodePpm(image)
                                         : EncodePam(image));
}

void CheckImageSize(const std::string& path, std::int64_t width, std::int64_t height) {
  if (width < 1 || height < 1 || width > kMostPixels || height > kMostPixels) {
    throw Failure(Status::kFile, path + ": expected 1 to " + std::to_string(kMostPixels) +
                                     " pixels in each direction, found " + std::to_string(width) + "x" +
                                     std::to_string(height));
  }
  if (width * height > kMostPixelsOfAFile) {
    throw Failure(Status::kFile, path + ": expected at most " + std::to_string(kMostPixelsOfAFile) +
                                     " pixels, found " + std::to_string(width) + "x" +
                                     std::to_string(height));
  }
}

}  // namespace devhost::program
