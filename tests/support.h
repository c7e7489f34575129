// What the tests share.
#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

#include "devhost/host.h"
#include "devhost/oracle.h"

namespace tests {

using Bytes = std::vector<std::uint8_t>;

/// A kind of host, and the pictures that are read on it.
struct HostCase {
  const char* name;
  devhost::Kind kind;
  int pixelType;                  // of the pictures that the host makes
  devhost::PixelFormat readFrom;  // of the pictures that are read
  double version = 2013.04;

  devhost::HostOptions Options() const { return {.version = version, .kind = kind, .pixelType = pixelType}; }
  /// Rows and blocks between pages without access.
  devhost::HostOptions GuardedOptions() const {
    return {.version = version, .kind = kind, .pixelType = pixelType, .guarded = true};
  }
  /// True if a first call reads the host's pictures through copies.
  bool ReadsThroughCopies() const {
    return kind == devhost::Kind::kUnknown || readFrom == devhost::PixelFormat::kWorld16 ||
           (kind == devhost::Kind::kDesktop && readFrom == devhost::PixelFormat::kBitmap);
  }
  /// Of the pictures that the host makes.
  devhost::PixelFormat OwnFormat() const {
    return pixelType == 13   ? devhost::PixelFormat::kWorld32
           : pixelType == 12 ? devhost::PixelFormat::kWorld24
                             : devhost::PixelFormat::kBitmap;
  }
};

inline void PrintTo(const HostCase& hostCase, std::ostream* stream) {
  *stream << hostCase.name;
}

inline constexpr HostCase kDesktop{"Desktop13", devhost::Kind::kDesktop, 13, devhost::PixelFormat::kWorld32};
inline constexpr HostCase kDesktop24{"Desktop12", devhost::Kind::kDesktop, 12,
                                     devhost::PixelFormat::kWorld24};
inline constexpr HostCase kConsole{"Console", devhost::Kind::kConsole, 8, devhost::PixelFormat::kBitmap};
inline constexpr HostCase kWeb{"Web", devhost::Kind::kWeb, 8, devhost::PixelFormat::kBitmap, 2999.9};
inline constexpr HostCase kUnknown{"Unknown", devhost::Kind::kUnknown, 8, devhost::PixelFormat::kBitmap,
                                   2011.0};
// Read through opaque copies: of an unsupported depth, and with a description that is no legacy world.
inline constexpr HostCase kDesktop16{"Desktop16", devhost::Kind::kDesktop, 13,
                                     devhost::PixelFormat::kWorld16};
inline constexpr HostCase kDesktopBitmap{"DesktopBitmap", devhost::Kind::kDesktop, 12,
                                         devhost::PixelFormat::kBitmap};

/// A method of a host's graphics objects, as the plug-in asks for it.
inline constexpr const char* kDrawPicture =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, "
    "sx as Integer = 0, sy as Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";

/// The pixel type that a picture has in memory; 0 for one that has none.
int PixelTypeOf(devhost::PixelFormat format);

/// What a reader of pixel (x, y) gets, on either of the ways to it.
oracle::Colour ColourAt(REALpictureStruct& picture, std::int32_t x, std::int32_t y);
oracle::Image ImageOf(REALpictureStruct& picture);

/// Bytes without a pattern that a fault could repeat.
std::uint8_t Noise(std::uint64_t seed);
Bytes NoiseBytes(std::size_t count, std::uint64_t seed);
void FillWithNoise(REALpictureStruct& picture, std::uint64_t seed);
void FillWithNoise(REALmemoryBlockStruct& block, std::uint64_t seed);

/// The bytes of a block, and of a picture's rows, one behind the other.
Bytes BytesOf(REALmemoryBlockStruct& block);
Bytes BytesOf(REALpictureStruct& picture);

/// The bytes that hexadecimal digits tell. Throws std::runtime_error.
Bytes ParseHex(const std::string& digits);

/// Says where the first difference is; empty: nowhere.
std::string Difference(std::span<const std::uint8_t> expected, std::span<const std::uint8_t> actual);

/// The entries that were called, in order.
std::vector<std::string> Entries(const devhost::Host& host);

/// How often an entry was called.
int CountCalls(const devhost::Host& host, const std::string& entry);

/// Watches that nothing is lost and no rule broken from its making to its end.
class NothingLost {
 public:
  explicit NothingLost(devhost::Host& host) : host_(host), before_(host.CurrentBalance()) {}
  ~NothingLost();
  NothingLost(const NothingLost&) = delete;
  NothingLost& operator=(const NothingLost&) = delete;

 private:
  devhost::Host& host_;
  devhost::Balance before_;
};

}  // namespace tests

namespace devhost {
std::ostream& operator<<(std::ostream& stream, const Balance& balance);
}
