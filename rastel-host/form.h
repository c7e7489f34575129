// The 50 methods by what they do, and calls of them with made-up arguments.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "devhost/host.h"
#include "rastel-host/expectation.h"
#include "rastel-host/text.h"

namespace devhost::program {

/// What tells the overloads of a name apart.
enum class Variant { kPlain, kDest, kEndian, kWeights, kPalettes, kMask };

struct Form {
  std::string method;
  Variant variant;
  const Layout* layout;  // the buffer's
  bool toPicture;

  std::string Key() const;  // "CopyARGBtoMemoryblockKVZ-mask"; the plain variant has no suffix
  bool ReadsPtr() const { return method.starts_with("Ptr"); }
  /// True for gray samples and single channels, whose distance the call tells.
  bool HasStep() const { return layout->OneChannel(); }
  bool Flips() const { return toPicture && layout->name == "RGBA"; }
};

/// All of them: those from picture to buffer come first.
const std::vector<Form>& AllForms();

/// The key of the form that `text` declares; the text without its list if it declares none.
std::string KeyOf(std::string_view text);

/// The numbers of a call. The three weights and palettes drive red, green and blue.
struct Plan {
  Size size{3, 2};
  std::int32_t offset = 0;
  std::int32_t step = 1;  // PixelByteSize
  std::int32_t alpha = 200;
  Band band{0, -1};
  std::int32_t rowBytes = 0;  // DestRowBytes
  bool flag = false;          // FlipVertically or LittleEndian
  Size otherSize{3, 2};       // of the mask, or of the picture to fill
  std::array<std::int32_t, 3> weights{256, 100, -7};
  oracle::Palettes palettes{std::vector{3, 300, -1}, std::nullopt, std::vector{9, 8}};
};

/// The layout of the buffer that a call with this plan reads or writes.
Layout LayoutOf(const Form& form, const Plan& plan);

/// The bytes of the block of a call, up to the last one of the buffer's last pixel.
std::int64_t BufferBytes(const Form& form, const Plan& plan);

/// The objects of a call.
struct Scene {
  /// The pictures and the block hold bytes made from `seed`; `format` is that of the picture to read.
  Scene(Host& host, const Form& form, const Plan& plan, PixelFormat format, std::uint64_t seed);

  Ref<REALpictureStruct> picture;  // the one to read, or kDest's one to fill; else nil
  Ref<REALpictureStruct> mask;
  Ref<REALmemoryBlockStruct> block;
  std::array<Ref<_REALarrayInteger>, 3> arrays;
};

/// All arguments by name.
Arguments ArgumentsOf(const Form& form, const Plan& plan, const Scene& scene);

/// Bytes without a pattern that a fault could repeat.
class Noise {
 public:
  explicit Noise(std::uint64_t seed) : state_(seed) {}
  std::uint32_t Next();
  std::int32_t From(std::int32_t least, std::int32_t most);  // both included
  Image Picture(Size size);

 private:
  std::uint64_t state_;
};

}  // namespace devhost::program
