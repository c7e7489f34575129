// Picture to buffer: every method, byte for byte, in guarded memory.
#include <algorithm>
#include <limits>
#include <tuple>

#include "loaded_host.h"
#include "methods.h"
#include "support.h"

namespace tests {
namespace {

using devhost::PixelFormat;
using devhost::Ref;

// Steps that lead back to where they began if they are counted in 32 bits.
constexpr std::int32_t kFarBack = -(1 << 30);
constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
/// A Yield argument with which the host never gets control, but rows are copied one by one.
constexpr std::int32_t kNeverYet = 2'000'000'000;

struct Size {
  std::int32_t width, height;
};

/// The arguments of one copy; the mask's size and format count where the method takes a mask.
struct Copy {
  Size size;
  std::int32_t startLine = 0, endLine = -1;
  std::int32_t destRowBytes = 0;
  std::int32_t offset = 0;
  std::int32_t pixelBytes = 1;
  std::int32_t alpha = 200;
  bool littleEndian = false;
  Size maskSize = size;
  PixelFormat maskFormat = PixelFormat::kBitmap;
};

std::ostream& operator<<(std::ostream& stream, const Copy& copy) {
  return stream << copy.size.width << "x" << copy.size.height << ", lines " << copy.startLine << " to "
                << copy.endLine << ", stride " << copy.destRowBytes << ", offset " << copy.offset
                << ", pixel bytes " << copy.pixelBytes << ", alpha " << copy.alpha << ", little-endian "
                << copy.littleEndian << ", mask " << copy.maskSize.width << "x" << copy.maskSize.height;
}

struct Band {
  std::int32_t startLine, endLine;
};

std::vector<Band> BandsOf(std::int32_t height) {
  return {{0, -1},         {1, -1}, {0, 0}, {height - 1, height - 1}, {height, -1}, {height + 9, height + 9},
          {0, height + 7}, {1, 0},  {2, 3}};
}

class ToBuffer : public testing::TestWithParam<std::tuple<HostCase, std::size_t>> {
 protected:
  ToBuffer()
      : hostCase(std::get<0>(GetParam())),
        method(PictureMethods()[std::get<1>(GetParam())]),
        host(GuardedOptions(hostCase)) {}

  static devhost::HostOptions GuardedOptions(const HostCase& hostCase) {
    devhost::HostOptions options = hostCase.Options();
    options.guarded = true;
    return options;
  }

  bool HasMask() const { return method.Has("MaskForAlpha"); }

  /// The layout that is written, whose letters may depend on the arguments.
  std::string LayoutFor(const Copy& copy) const {
    if (!method.Has("LittleEndian")) {
      return method.layout;
    }
    const bool keepsAlpha = copy.alpha < 0 || copy.alpha > 255;
    return copy.littleEndian ? (keepsAlpha ? "BGRX" : "BGRA") : (keepsAlpha ? "XRGB" : "ARGB");
  }

  oracle::Copy BlockCopyOf(const Copy& copy) const {
    const Size size = HasMask() ? copy.maskSize : copy.size;
    oracle::Copy blockCopy{.layout = LayoutFor(copy),
                           .width = size.width,
                           .lines = oracle::LinesOf(copy.startLine, copy.endLine, size.height)};
    blockCopy.offset = copy.offset;
    blockCopy.pixelBytes =
        method.Has("PixelByteSize") ? copy.pixelBytes : static_cast<std::int64_t>(method.layout.size());
    blockCopy.destRowBytes = copy.destRowBytes;
    blockCopy.alpha = static_cast<std::uint8_t>(copy.alpha);
    return blockCopy;
  }

  struct Pictures {
    Ref<REALpictureStruct> source, mask;
  };

  /// What has to be in the block after the copy.
  void WriteExpected(const Copy& copy, const Pictures& pictures, Bytes& block) const {
    oracle::Write(
        BlockCopyOf(copy), ImageOf(*pictures.source), ImageOf(*pictures.mask),
        [&](std::int64_t position) -> std::uint8_t& { return block.at(static_cast<std::size_t>(position)); });
  }

  Pictures MakePictures(const Copy& copy) {
    Pictures pictures;
    pictures.source = host.NewPicture(copy.size.width, copy.size.height, hostCase.readFrom);
    FillWithNoise(*pictures.source, 5);
    pictures.mask = host.NewPicture(copy.maskSize.width, copy.maskSize.height, copy.maskFormat);
    FillWithNoise(*pictures.mask, 77777);
    return pictures;
  }

  void Check(const Copy& copy, const Pictures& pictures) {
    SCOPED_TRACE(testing::Message() << copy);
    const auto block = host.NewMemoryBlock(static_cast<std::int32_t>(BlockCopyOf(copy).BlockSize()));
    FillWithNoise(*block, 4242);
    Bytes expected = BytesOf(*block);
    WriteExpected(copy, pictures, expected);
    const Bytes picture = BytesOf(*pictures.source);
    host.trace.clear();
    const auto result = Call(host, method,
                             {{"self", pictures.source.get()},
                              {"destination", block.get()},
                              {"offset", copy.offset},
                              {"PixelByteSize", copy.pixelBytes},
                              {"AlphaValue", copy.alpha},
                              {"MaskForAlpha", pictures.mask.get()},
                              {"LittleEndian", copy.littleEndian},
                              {"StartLine", copy.startLine},
                              {"EndLine", copy.endLine},
                              {"Yield", copy.offset == 0 ? kNeverYet : std::int32_t{0}},
                              {"DestRowBytes", copy.destRowBytes}});
    EXPECT_TRUE(result.boolean);
    EXPECT_FALSE(result.exception);
    EXPECT_TRUE(SameBytes(expected, BytesOf(*block)));
    EXPECT_TRUE(block->SurroundingsIntact());
    EXPECT_TRUE(SameBytes(picture, BytesOf(*pictures.source))) << "the picture";
    EXPECT_EQ(0, CountCalls(host, "REALYieldToRB"));
  }

  void Check(const Copy& copy) { Check(copy, MakePictures(copy)); }

  int StraysFor(int copies) const { return hostCase.readFrom == PixelFormat::kWorld16 ? copies : 0; }

  /// The formats of masks that the host can read as they are.
  std::vector<PixelFormat> MaskFormats() const {
    if (hostCase.kind == devhost::Kind::kDesktop) {
      return {PixelFormat::kWorld32, PixelFormat::kWorld24};
    }
    return {PixelFormat::kBitmap};
  }

  const HostCase hostCase;
  const Method& method;
  LoadedHost host;
};

struct Placing {
  std::int32_t destRowBytes, offset;
};

class OwnArguments : public ToBuffer {
 protected:
  /// Copies with all values of the arguments that the method has besides the band.
  std::vector<Copy> CopiesOf(Size size, std::int32_t stride) const {
    std::vector<Copy> copies;
    if (method.Has("PixelByteSize")) {
      for (const std::int32_t pixelBytes : {0, 1, 2, 3, 4, -1, -3, kFarBack, kLowest}) {
        for (const std::int32_t offset : {0, 40, 1000}) {
          copies.push_back({.size = size, .startLine = 1, .destRowBytes = stride, .offset = offset});
          copies.back().pixelBytes = pixelBytes;
        }
      }
      return copies;
    }
    for (const std::int32_t alpha : {0, 255, 256, 300, -1}) {
      for (const bool littleEndian : {false, true}) {
        copies.push_back({.size = size, .destRowBytes = stride, .offset = 1, .alpha = alpha});
        copies.back().littleEndian = littleEndian;
      }
    }
    return copies;
  }
};
class MaskedToBuffer : public ToBuffer {};
class EmptyToBuffer : public ToBuffer {};

TEST_P(ToBuffer, CopiesBandsOfEverySize) {
  NothingLost watch(host);
  for (const Size size : {Size{1, 1}, {2, 1}, {3, 5}, {17, 3}, {33, 2}, {64, 2}, {67, 4}}) {
    const auto pictures = MakePictures({.size = size, .maskFormat = MaskFormats().front()});
    const auto packed = size.width * static_cast<std::int32_t>(method.layout.size());
    for (const Band band : BandsOf(size.height)) {
      Copy copy{.size = size, .startLine = band.startLine, .endLine = band.endLine};
      for (const Placing& placing : {Placing{packed + 5, 3}, {packed + 64, 0}, {0, 3}, {packed - 1, 0}}) {
        copy.destRowBytes = placing.destRowBytes;
        copy.offset = placing.offset;
        Check(copy, pictures);
        watch.expectedStrayUnlocks += StraysFor(1);
      }
    }
  }
}

TEST_P(OwnArguments, AreHeeded) {
  NothingLost watch(host);
  for (const Size size : {Size{3, 5}, Size{67, 4}}) {
    for (const std::int32_t stride : {size.width * 4 + 5, 0}) {
      for (const Copy& copy : CopiesOf(size, stride)) {
        Check(copy);
        watch.expectedStrayUnlocks += StraysFor(1);
      }
    }
  }
}

TEST_P(MaskedToBuffer, TakesTheSizeOfTheMask) {
  NothingLost watch(host);
  for (const PixelFormat format : MaskFormats()) {
    for (const Size mask : {Size{33, 4}, {16, 2}, {40, 4}, {33, 7}, {50, 6}, {1, 9}}) {
      for (const Band band : {Band{0, -1}, {3, 5}, {99, -1}}) {
        Check({.size = {33, 4},
               .startLine = band.startLine,
               .endLine = band.endLine,
               .destRowBytes = mask.width * 4 + 8,
               .offset = 2,
               .maskSize = mask,
               .maskFormat = format});
        watch.expectedStrayUnlocks += StraysFor(1);
      }
    }
  }
}

TEST_P(EmptyToBuffer, CopiesNothing) {
  const NothingLost watch(host);
  for (const Size size : {Size{0, 3}, Size{3, 0}}) {
    for (const std::int32_t line : {0, 2, 5}) {
      Check({.size = size, .startLine = line, .offset = 1, .maskFormat = MaskFormats().front()});
    }
  }
}

std::string NameOf(const testing::TestParamInfo<ToBuffer::ParamType>& info) {
  const std::size_t row = std::get<1>(info.param);
  return std::string(std::get<0>(info.param).name) + "_" + TestName(PictureMethods()[row], row + 1);
}

const auto kAllMethods = testing::Range(std::size_t{0}, std::size_t{18});
const auto kMaskMethods = testing::Range(std::size_t{6}, std::size_t{10});

INSTANTIATE_TEST_SUITE_P(, ToBuffer,
                         testing::Combine(testing::Values(kDesktop, kDesktop24, kDesktop16, kDesktopBitmap,
                                                          kConsole, kUnknown),
                                          kAllMethods),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(, OwnArguments,
                         testing::Combine(testing::Values(kDesktop, kDesktop24, kDesktop16, kConsole),
                                          testing::Values(2U, 3U, 4U, 5U, 14U, 15U, 16U, 17U)),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(, MaskedToBuffer,
                         testing::Combine(testing::Values(kDesktop, kDesktop24, kDesktop16, kConsole),
                                          kMaskMethods),
                         NameOf);
// There is no opaque copy of a picture without pixels, so only on hosts that read it as it is.
INSTANTIATE_TEST_SUITE_P(, EmptyToBuffer,
                         testing::Combine(testing::Values(kDesktop, kDesktop24, kConsole, kWeb, kUnknown),
                                          kAllMethods),
                         NameOf);

}  // namespace
}  // namespace tests
