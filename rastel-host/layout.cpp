#include "rastel-host/layout.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "devhost/nearest.h"
#include "rastel-host/failure.h"

namespace devhost::program {
namespace {

constexpr std::array kLayouts = {
    Layout{"RGB", 3, 0, 1, 2, -1, Fourth::kNone, "RGBtoPictureKVZ", "CopyRGBtoMemoryblockKVZ", "rgb24",
           "RAW"},
    Layout{"BGR", 3, 2, 1, 0, -1, Fourth::kNone, "BGRtoPictureKVZ", "CopyBGRtoMemoryblockKVZ", "bgr24",
           "RGB24"},
    Layout{"ARGB", 4, 1, 2, 3, 0, Fourth::kAlpha, "ARGBtoPictureKVZ", "CopyARGBtoMemoryblockKVZ", "argb",
           "BGRA"},
    Layout{"ABGR", 4, 3, 2, 1, 0, Fourth::kAlpha, "ABGRtoPictureKVZ", "CopyABGRtoMemoryblockKVZ", "abgr",
           "RGBA"},
    Layout{"RGBA", 4, 0, 1, 2, 3, Fourth::kAlpha, "RGBAtoPictureKVZ", "CopyRGBAtoMemoryblockKVZ", "rgba",
           "ABGR"},
    Layout{"BGRA", 4, 2, 1, 0, 3, Fourth::kAlpha, "BGRAtoPictureKVZ", "CopyBGRAtoMemoryblockKVZ", "bgra",
           "ARGB"},
    Layout{"XRGB", 4, 1, 2, 3, 0, Fourth::kPadding, "ARGBtoPictureKVZ", "CopyXRGBtoMemoryblockKVZ", "0rgb",
           "none"},
    Layout{"XBGR", 4, 3, 2, 1, 0, Fourth::kPadding, "ABGRtoPictureKVZ", "CopyXBGRtoMemoryblockKVZ", "0bgr",
           "none"},
    Layout{"RGBX", 4, 0, 1, 2, 3, Fourth::kPadding, "RGBAtoPictureKVZ", "CopyRGBXtoMemoryblockKVZ", "rgb0",
           "none"},
    Layout{"BGRX", 4, 2, 1, 0, 3, Fourth::kPadding, "BGRAtoPictureKVZ", "CopyBGRXtoMemoryblockKVZ", "bgr0",
           "none"},
    Layout{"gray", 1, 0, 0, 0, -1, Fourth::kNone, "GrayToPictureKVZ", "CopyGtoMemoryblockKVZ", "gray",
           "J400"},
    Layout{"R", 1, 0, -1, -1, -1, Fourth::kNone, "GrayToPictureKVZ", "CopyRtoMemoryblockKVZ", "none", "none"},
    Layout{"G", 1, -1, 0, -1, -1, Fourth::kNone, "GrayToPictureKVZ", "CopyGtoMemoryblockKVZ", "none", "none"},
    Layout{"B", 1, -1, -1, 0, -1, Fourth::kNone, "GrayToPictureKVZ", "CopyBtoMemoryblockKVZ", "none", "none"},
};

/// One byte is all three channels. Channels that are not kept are equal, too: all -1.
bool IsGray(const Layout& layout) {
  return layout.red >= 0 && layout.red == layout.green && layout.green == layout.blue;
}

std::uint8_t GrayOf(const Rgba& pixel) {
  return static_cast<std::uint8_t>((299 * pixel.red + 587 * pixel.green + 114 * pixel.blue + 500) / 1000);
}

Rgba PixelFrom(const std::uint8_t* bytes, const Layout& layout) {
  const auto channel = [&](int position) { return position < 0 ? std::uint8_t{0} : bytes[position]; };
  const std::uint8_t alpha = layout.fourth == Fourth::kAlpha ? bytes[layout.fourthByte] : std::uint8_t{255};
  return {channel(layout.red), channel(layout.green), channel(layout.blue), alpha};
}

}  // namespace

void PutColours(const Rgba& pixel, const Layout& layout, std::uint8_t* bytes) {
  if (layout.red >= 0) {
    bytes[layout.red] = pixel.red;
  }
  if (layout.blue >= 0) {
    bytes[layout.blue] = pixel.blue;
  }
  // Last, so that gray, whose three channels are one byte, is read from green.
  if (layout.green >= 0) {
    bytes[layout.green] = pixel.green;
  }
}

std::string_view ByteName(int position, const Layout& layout) {
  if (position == layout.fourthByte) {
    return layout.fourth == Fourth::kAlpha ? "alpha" : "padding";
  }
  if (position == layout.red) {
    return IsGray(layout) ? "gray" : "red";
  }
  if (position == layout.green) {
    return "green";
  }
  return position == layout.blue ? "blue" : "skipped byte";
}

const Layout& LayoutNamed(std::string_view name) {
  const auto* const found = std::find_if(kLayouts.begin(), kLayouts.end(),
                                         [&](const Layout& layout) { return layout.name == name; });
  if (found == kLayouts.end()) {
    std::vector<std::string> names;
    for (const Layout& layout : kLayouts) {
      names.emplace_back(layout.name);
    }
    throw Failure(Status::kUsage, "--layout: expected one of " + LayoutNames() + ", got '" +
                                      std::string(name) + "'" + Nearest(name, names));
  }
  return *found;
}

std::span<const Layout> Layouts() {
  return kLayouts;
}

std::string LayoutNames() {
  std::string names;
  for (const Layout& layout : kLayouts) {
    names += names.empty() ? "" : ", ";
    names += layout.name;
  }
  return names;
}

std::vector<std::uint8_t> Pack(const Image& image, const Layout& layout) {
  std::vector<std::uint8_t> buffer(image.pixels.size() * static_cast<std::size_t>(layout.pixelBytes));
  std::uint8_t* bytes = buffer.data();
  for (const Rgba& pixel : image.pixels) {
    PutColours(pixel, layout, bytes);
    if (IsGray(layout)) {
      bytes[0] = GrayOf(pixel);
    }
    if (layout.fourthByte >= 0) {
      bytes[layout.fourthByte] = pixel.alpha;
    }
    bytes += layout.pixelBytes;
  }
  return buffer;
}

Image Unpack(const std::vector<std::uint8_t>& buffer, std::int64_t stride, std::int32_t width,
             std::int32_t height, const Layout& layout) {
  Image image(width, height);
  for (std::int32_t y = 0; y < height; ++y) {
    const std::uint8_t* bytes = buffer.data() + y * stride;
    for (std::int32_t x = 0; x < width; ++x) {
      image.At(x, y) = PixelFrom(bytes, layout);
      bytes += layout.pixelBytes;
    }
  }
  return image;
}

}  // namespace devhost::program
