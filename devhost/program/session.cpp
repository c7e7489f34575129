#include "devhost/program/session.h"

#include <filesystem>
#include <iostream>
#include <system_error>

#include "devhost/program/failure.h"

namespace devhost::program {
namespace {

/// The plug-in beside the program or in a folder above it, or the release build of a checkout that the
/// program lies in.
std::string FindPlugin() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  for (auto folder = program.parent_path(); !folder.empty(); folder = folder.parent_path()) {
    for (const char* name : {"rastel.so", "build/release/rastel.so"}) {
      if (std::filesystem::is_regular_file(folder / name, error)) {
        return (folder / name).string();
      }
    }
    if (folder == folder.root_path()) {
      break;
    }
  }
  throw Failure(
      Status::kNoPlugin,
      "no plug-in: expected rastel.so beside the program or in a folder above it, or in build/release "
      "of one of these; --plugin names another file");
}

bool HasLegacyFramework(const HostSettings& settings) {
  return settings.kind == Kind::kDesktop;
}

int PixelTypeOf(const HostSettings& settings) {
  return settings.pixelType.value_or(HasLegacyFramework(settings) ? 13 : 8);
}

HostOptions OptionsFrom(const HostSettings& settings) {
  const int pixelType = PixelTypeOf(settings);
  if (HasLegacyFramework(settings) == (pixelType == 8)) {
    throw Failure(Status::kUsage,
                  "--pixel-type: expected 13, 12 or 16 with --kind desktop and 8 with the others, got " +
                      std::to_string(pixelType));
  }
  HostOptions options;
  options.version = settings.version;
  options.kind = settings.kind;
  options.pixelType = pixelType == 16 ? 13 : pixelType;
  return options;
}

PixelFormat FormatOf(int pixelType) {
  switch (pixelType) {
    case 8:
      return PixelFormat::kBitmap;
    case 12:
      return PixelFormat::kWorld24;
    case 16:
      return PixelFormat::kWorld16;
    default:
      return PixelFormat::kWorld32;
  }
}

}  // namespace

std::unique_ptr<Host> OpenHost(const HostSettings& settings) {
  auto host = std::make_unique<Host>(OptionsFrom(settings));
  try {
    host->Load(settings.plugin ? *settings.plugin : FindPlugin());
  } catch (const HostError& error) {
    throw Failure(Status::kNoPlugin, error.what());
  }
  return host;
}

PixelFormat SourceFormat(const HostSettings& settings) {
  return FormatOf(PixelTypeOf(settings));
}

Ref<REALpictureStruct> MakePicture(Host& host, const Image& image, PixelFormat format) {
  auto picture = host.NewPicture(image.width, image.height, format);
  for (std::int32_t y = 0; y < image.height; ++y) {
    for (std::int32_t x = 0; x < image.width; ++x) {
      const Rgba& pixel = image.At(x, y);
      picture->Set(x, y, {pixel.red, pixel.green, pixel.blue, pixel.alpha});
    }
  }
  return picture;
}

Image ImageOf(REALpictureStruct& picture) {
  Image image(picture.width, picture.height);
  for (std::int32_t y = 0; y < image.height; ++y) {
    for (std::int32_t x = 0; x < image.width; ++x) {
      const Pixel pixel = picture.At(x, y);
      image.At(x, y) = {pixel.red, pixel.green, pixel.blue, pixel.fourth};
    }
  }
  return image;
}

Image Pattern(std::int32_t width, std::int32_t height) {
  Image image(width, height);
  for (std::int32_t y = 0; y < height; ++y) {
    for (std::int32_t x = 0; x < width; ++x) {
      image.At(x, y) = {static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y),
                        static_cast<std::uint8_t>(x + y), 90};
    }
  }
  return image;
}

int StatusOfComplaints(const Host& host) {
  for (const std::string& complaint : host.complaints) {
    std::cerr << "rastel-host: the plug-in broke a rule of the host: " << complaint << '\n';
  }
  return static_cast<int>(host.complaints.empty() ? Status::kGood : Status::kDifferent);
}

}  // namespace devhost::program
