#include "rastel-host/image.h"

#include <png.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <new>
#include <string_view>

#include "rastel-host/files.h"
#include "rastel-host/output.h"

namespace devhost::program {
namespace {

static_assert(sizeof(Pixel) == 4, "pixels are handed to the PNG library as they lie in memory");

constexpr std::string_view kOtherFormats[] = {
    ".avif", ".bmp", ".gif", ".heic", ".ico", ".jpeg", ".jpg", ".jxl",  ".pam",  ".pbm",
    ".pcx",  ".pgm", ".pnm", ".ppm",  ".psd", ".svg",  ".tga", ".tiff", ".webp", ".tif",
};

void RequirePng(const std::string& path) {
  if (!IsPng(path)) {
    throw Failure(Status::kUsage, path + ": expected a PNG picture, whose name ends in .png");
  }
}

/// A PNG file while it is read. The library calls OnError and the others through its C code, which exceptions
/// may pass: it holds nothing then that the destructor does not release.
struct Reader {
  explicit Reader(const std::string& path) : name(path), file(OpenFile(path)) {
    png = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, OnError, OnWarning);
    info = png != nullptr ? png_create_info_struct(png) : nullptr;
    if (info == nullptr) {
      png_destroy_read_struct(&png, nullptr, nullptr);
      throw std::bad_alloc();
    }
    png_set_read_fn(png, this, OnRead);
    png_set_option(png, PNG_SKIP_sRGB_CHECK_PROFILE, PNG_OPTION_ON);  // the profile is not used
    png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);       // CheckImageSize has our own
  }
  ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  [[noreturn]] static void OnError(png_structp caller, png_const_charp message) {
    const auto& reader = *static_cast<const Reader*>(png_get_error_ptr(caller));
    throw Failure(Status::kFile,
                  reader.name + ": expected a PNG picture (" + reader.warnings + message + ")");
  }

  static void OnWarning(png_structp caller, png_const_charp message) {
    static_cast<Reader*>(png_get_error_ptr(caller))->warnings += std::string(message) + ", ";
  }

  static void OnRead(png_structp caller, png_bytep bytes, std::size_t wanted) {
    auto& reader = *static_cast<Reader*>(png_get_io_ptr(caller));
    const std::size_t got = std::fread(bytes, 1, wanted, reader.file.get());
    reader.size += got;
    if (std::ferror(reader.file.get()) != 0) {
      throw ReadFailure(reader.name);
    }
    if (got < wanted) {
      throw Failure(Status::kFile, reader.name + ": truncated, expected a PNG picture of more than these " +
                                       std::to_string(reader.size) + " bytes");
    }
  }

  void ReadSignature() {
    png_byte signature[8];
    size = std::fread(signature, 1, sizeof signature, file.get());
    if (std::ferror(file.get()) != 0) {
      throw ReadFailure(name);
    }
    if (size == 0 || png_sig_cmp(signature, 0, size) != 0) {
      throw Failure(Status::kFile, name + ": expected a PNG picture, found " +
                                       (size == 0 ? "an empty file" : "something else"));
    }
    png_set_sig_bytes(png, static_cast<int>(size));
  }

  /// Tells what of the picture does not reach its pixels.
  void TellDropped() const {
    std::string dropped;
    const auto add = [&](bool present, const char* what) {
      dropped += present ? (dropped.empty() ? "" : ", ") + std::string(what) : "";
    };
    const auto has = [&](png_uint_32 chunk) { return png_get_valid(png, info, chunk) != 0; };
    add(png_get_bit_depth(png, info) == 16, "the low byte of each 16-bit sample");
    add(has(PNG_INFO_gAMA) && !has(PNG_INFO_sRGB), "the gamma value");
    add(has(PNG_INFO_iCCP), "the colour profile");
    if (!dropped.empty()) {
      Say(name + ": not used: " + dropped);
    }
  }

  std::string name;
  File file;
  std::size_t size = 0;  // bytes read
  std::string warnings;  // each with a comma behind it
  png_structp png = nullptr;
  png_infop info = nullptr;
};

}  // namespace

Image::Image(std::int32_t imageWidth, std::int32_t imageHeight)
    : width(imageWidth),
      height(imageHeight),
      pixels(static_cast<std::size_t>(imageWidth) * static_cast<std::size_t>(imageHeight)) {}

void CheckImageSize(Status status, const std::string& what, std::int64_t width, std::int64_t height) {
  const std::string found = ", found " + std::to_string(width) + "x" + std::to_string(height);
  if (width < 1 || height < 1 || width > kMostPixels || height > kMostPixels) {
    throw Failure(status, what + ": expected 1 to " + std::to_string(kMostPixels) +
                              " pixels in each direction" + found);
  }
  if (width * height > kMostPixelsOfAFile) {
    throw Failure(status,
                  what + ": expected at most " + std::to_string(kMostPixelsOfAFile) + " pixels" + found);
  }
}

bool IsPng(const std::string& path) {
  std::string extension = std::filesystem::path(path).extension().string();
  std::ranges::transform(extension, extension.begin(),
                         [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
  if (std::ranges::find(kOtherFormats, extension) != std::end(kOtherFormats)) {
    throw Failure(Status::kUsage, path + ": expected a PNG picture (.png) or raw bytes, got the name of a " +
                                      extension.substr(1) +
                                      " picture; netpbm's anytopnm and pnmtopng make a PNG of it, and "
                                      "pngtopnm makes another picture of a PNG");
  }
  return extension == ".png";
}

Image ReadImage(const std::string& path) {
  RequirePng(path);
  Reader reader(path);
  reader.ReadSignature();
  png_read_info(reader.png, reader.info);
  const std::int64_t width = png_get_image_width(reader.png, reader.info);
  const std::int64_t height = png_get_image_height(reader.png, reader.info);
  CheckImageSize(Status::kFile, path, width, height);
  reader.TellDropped();
  png_set_expand(reader.png);
  png_set_strip_16(reader.png);
  png_set_gray_to_rgb(reader.png);
  png_set_add_alpha(reader.png, 255, PNG_FILLER_AFTER);
  png_set_interlace_handling(reader.png);
  png_read_update_info(reader.png, reader.info);
  Image image(static_cast<std::int32_t>(width), static_cast<std::int32_t>(height));
  std::vector<png_bytep> rows;
  for (std::int32_t y = 0; y < image.height; ++y) {
    rows.push_back(&image.At(0, y).red);
  }
  png_read_image(reader.png, rows.data());
  png_read_end(reader.png, nullptr);
  if (!reader.warnings.empty()) {
    Say(path + ": " + reader.warnings.substr(0, reader.warnings.size() - 2));
  }
  return image;
}

void WriteImage(const std::string& path, const Image& image) {
  RequirePng(path);
  png_image control{};
  control.version = PNG_IMAGE_VERSION;
  control.width = static_cast<png_uint_32>(image.width);
  control.height = static_cast<png_uint_32>(image.height);
  control.format = PNG_FORMAT_RGBA;
  png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(control);
  std::vector<std::uint8_t> bytes(size);
  if (png_image_write_to_memory(&control, bytes.data(), &size, 0, image.pixels.data(), 0, nullptr) == 0) {
    throw Failure(Status::kFile, path + ": the PNG picture cannot be made (" + control.message + ")");
  }
  WriteBytes(path, {bytes.data(), size});
}

}  // namespace devhost::program
