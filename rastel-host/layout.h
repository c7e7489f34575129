// Byte layouts of buffers.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rastel-host/image.h"

namespace devhost::program {

enum class Fourth { kNone, kAlpha, kPadding };

/// A byte layout, and the methods that read and write it.
struct Layout {
  std::string_view name;
  int pixelBytes;
  int red, green, blue;  // the channel's byte within a pixel; -1 if the layout does not keep it
  int fourthByte;        // the byte of alpha or padding; -1 if there is none
  Fourth fourth;
  std::string_view toPicture;  // the method from buffer to picture, without "Ptr" or "Memoryblock"
  std::string_view toBuffer;   // the method from picture to buffer
  /// The layout's name as an FFmpeg pix_fmt and in libyuv, which names little-endian words; or "none".
  std::string_view ffmpeg, libyuv;

  /// Gray and the single channels: one byte a pixel.
  bool OneChannel() const { return pixelBytes == 1; }
};

/// The channels of `pixel` into one pixel of a buffer; the byte of alpha or padding is left alone. A gray
/// byte is the pixel's green.
void PutColours(const Rgba& pixel, const Layout& layout, std::uint8_t* bytes);

/// "red", "alpha", …: what the byte at `position` within a pixel is; "skipped byte" if it is none of them.
std::string_view ByteName(int position, const Layout& layout);

/// Throws Failure (kUsage) if there is no such layout.
const Layout& LayoutNamed(std::string_view name);

/// All of them.
std::span<const Layout> Layouts();

/// "RGB, BGR, …", for messages.
std::string LayoutNames();

/// The image as packed rows in `layout`: alpha goes into the alpha or padding byte, a gray byte is
/// (299 red + 587 green + 114 blue + 500) / 1000.
std::vector<std::uint8_t> Pack(const Image& image, const Layout& layout);

/// The image that a buffer in `layout` shows, rows `stride` bytes apart: channels that the layout does not
/// keep are 0, a gray byte stands for all three, and alpha is 255 unless the layout has one.
Image Unpack(const std::vector<std::uint8_t>& buffer, std::int64_t stride, std::int32_t width,
             std::int32_t height, const Layout& layout);

}  // namespace devhost::program
