// Buffer to picture: every method, byte for byte, in guarded memory.
#include <array>
#include <limits>
#include <tuple>

#include "loaded_host.h"
#include "methods.h"
#include "support.h"

namespace tests {
namespace {

using devhost::Ptr;
using devhost::Ref;

struct Size {
  std::int32_t width, height;
};

constexpr Size kSizes[] = {{1, 1}, {2, 1}, {3, 5}, {17, 3}, {33, 2}, {64, 2}, {67, 4}};

/// What a method takes besides source, offset and size.
struct Variant {
  bool flag = false;  // FlipVertically or LittleEndian
  std::int32_t pixelBytes = 1;
  oracle::Weights weights = {};
  oracle::Palettes palettes = {};
};

std::vector<std::int32_t> LongPalette() {
  std::vector<std::int32_t> elements;
  for (std::int32_t i = 0; i < 300; ++i) {
    elements.push_back(i * 7 - 400);
  }
  return elements;
}

std::vector<Variant> PixelSizes(const Variant& variant) {
  std::vector<Variant> variants;
  for (const std::int32_t pixelBytes : {1, 0, 2, 3, 4, -1, -3}) {
    variants.push_back(variant);
    variants.back().pixelBytes = pixelBytes;
  }
  return variants;
}

std::vector<Variant> WeightVariants() {
  constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
  std::vector<Variant> variants = PixelSizes({.weights = {256, 0, 128}});
  for (const oracle::Weights& weights : {oracle::Weights{0, 255, 256},
                                         {512, -5, 32767},
                                         {8421505, kLowest, -1},
                                         {77, 32768, 0},
                                         {77, 151, -8421505}}) {
    variants.push_back({.weights = weights});
  }
  return variants;
}

std::vector<Variant> PaletteVariants() {
  const std::vector<std::int32_t> ramp = LongPalette();
  const std::vector<std::int32_t> full(ramp.begin() + 44, ramp.begin() + 300);
  std::vector<Variant> variants = PixelSizes({.palettes = {full, ramp, std::vector{9, 300, -7}}});
  variants.push_back({.palettes = {std::nullopt, std::nullopt, std::vector<std::int32_t>(256, 255)}});
  variants.push_back({.palettes = {std::vector<std::int32_t>(), full, std::nullopt}});
  return variants;
}

std::vector<Variant> VariantsOf(const Method& method) {
  if (method.Has("Red")) {
    return WeightVariants();
  }
  if (method.Has("Red()")) {
    return PaletteVariants();
  }
  if (method.Has("PixelByteSize")) {
    return PixelSizes({});
  }
  if (method.Has("FlipVertically") || method.Has("LittleEndian")) {
    return {{.flag = false}, {.flag = true}};
  }
  return {{}};
}

oracle::Buffer BufferOf(const Method& method, const Variant& variant, Size size, std::int32_t offset) {
  const bool isLittleEndian = method.Has("LittleEndian") && variant.flag;
  oracle::Buffer buffer{.layout = isLittleEndian ? "BGRA" : method.layout,
                        .width = size.width,
                        .height = size.height,
                        .offset = offset};
  buffer.pixelBytes =
      method.Has("PixelByteSize") ? variant.pixelBytes : static_cast<std::int64_t>(method.layout.size());
  buffer.flip = method.Has("FlipVertically") && variant.flag;
  if (buffer.pixelBytes < 0) {
    buffer.offset += (buffer.width * buffer.height - 1) * -buffer.pixelBytes;
  }
  if (method.Has("Red")) {
    buffer.weights = variant.weights;
  }
  if (method.Has("Red()")) {
    buffer.palettes = variant.palettes;
  }
  return buffer;
}

/// A block that ends right behind the last byte that may be read.
Ref<REALmemoryBlockStruct> BlockFor(devhost::Host& host, const oracle::Buffer& buffer) {
  auto block = host.NewMemoryBlock(static_cast<std::int32_t>(buffer.BlockSize()));
  FillWithNoise(*block, static_cast<std::uint64_t>(block->size));
  return block;
}

/// The pixels of `picture` after `buffer` was written into its top-left corner.
Bytes Written(REALpictureStruct& picture, const oracle::Buffer& buffer, const std::uint8_t* source) {
  Bytes bytes = BytesOf(picture);
  oracle::Write(buffer, source, PixelTypeOf(picture.format), picture.width, bytes);
  return bytes;
}

class ToPicture : public testing::TestWithParam<std::tuple<HostCase, std::size_t>> {
 protected:
  ToPicture()
      : hostCase(std::get<0>(GetParam())),
        method(GlobalMethods()[std::get<1>(GetParam())]),
        host(GuardedOptions(hostCase)) {}

  static devhost::HostOptions GuardedOptions(const HostCase& hostCase) {
    devhost::HostOptions options = hostCase.Options();
    options.guarded = true;
    return options;
  }

  devhost::CallResult Convert(const oracle::Buffer& buffer, const Variant& variant, REALpictureStruct* dest,
                              REALmemoryBlockStruct* block) {
    Arguments arguments = {{"dest", dest},
                           {"source", block},
                           {"offset", static_cast<std::int32_t>(buffer.offset)},
                           {"width", static_cast<std::int32_t>(buffer.width)},
                           {"height", static_cast<std::int32_t>(buffer.height)},
                           {"FlipVertically", variant.flag},
                           {"LittleEndian", variant.flag},
                           {"PixelByteSize", variant.pixelBytes},
                           {"Red", variant.weights[0]},
                           {"Blue", variant.weights[1]},
                           {"Green", variant.weights[2]}};
    if (method.ReadsPtr()) {
      arguments["source"] = Ptr{block->bytes()};
    }
    std::array<Ref<_REALarrayInteger>, 3> arrays;
    constexpr const char* kArrays[] = {"Red()", "Blue()", "Green()"};
    for (std::size_t i = 0; i < arrays.size(); ++i) {
      arguments[kArrays[i]] = nullptr;
      if (variant.palettes[i]) {
        arrays[i] = host.NewIntegerArray(*variant.palettes[i]);
        arguments[kArrays[i]] = arrays[i].get();
      }
    }
    host.trace.clear();
    return Call(host, method, arguments);
  }

  /// Converts into a picture of `destSize` of kind `pictureType`, and holds the result against the oracle.
  void CheckDest(const oracle::Buffer& buffer, Size destSize, std::int32_t pictureType, bool isUsed) {
    SCOPED_TRACE(testing::Message() << "dest " << destSize.width << "x" << destSize.height << " of kind "
                                    << pictureType);
    const auto block = BlockFor(host, buffer);
    const Bytes source = BytesOf(*block);
    const auto dest = host.NewPicture(destSize.width, destSize.height);
    dest->pictureType = pictureType;
    FillWithNoise(*dest, 99);
    const Bytes before = BytesOf(*dest);
    const Bytes written = isUsed ? Written(*dest, buffer, source.data()) : before;

    const auto result = Convert(buffer, {}, dest.get(), block.get());
    ASSERT_NE(nullptr, result.picture.get());
    EXPECT_EQ(isUsed, result.picture.get() == dest.get());
    EXPECT_TRUE(SameBytes(written, BytesOf(*dest)));
    EXPECT_TRUE(dest->SurroundingsIntact());
    EXPECT_EQ(buffer.width, isUsed ? buffer.width : result.picture->width);
  }

  const HostCase hostCase;
  const Method& method;
  LoadedHost host;
};

class ToDest : public ToPicture {};
class ToLargePicture : public ToPicture {};
class InPlace : public ToPicture {};

TEST_P(ToPicture, FillsNewPictures) {
  const NothingLost watch(host);
  for (const Variant& variant : VariantsOf(method)) {
    for (const Size size : kSizes) {
      for (const std::int32_t offset : {0, 7}) {
        const oracle::Buffer buffer = BufferOf(method, variant, size, offset);
        SCOPED_TRACE(testing::Message() << size.width << "x" << size.height << ", offset " << buffer.offset
                                        << ", flag " << variant.flag << ", " << buffer.pixelBytes);
        const auto block = BlockFor(host, buffer);
        const Bytes source = BytesOf(*block);
        const auto result = Convert(buffer, variant, nullptr, block.get());
        EXPECT_FALSE(result.exception);
        ASSERT_NE(nullptr, result.picture.get());
        ASSERT_EQ(size.width, result.picture->width);
        ASSERT_EQ(size.height, result.picture->height);
        EXPECT_EQ(hostCase.pixelType, PixelTypeOf(result.picture->format));
        EXPECT_EQ(1, result.picture->references);
        // The oracle overwrites every byte, so what it starts from does not matter.
        EXPECT_TRUE(SameBytes(Written(*result.picture, buffer, source.data()), BytesOf(*result.picture)));
        EXPECT_TRUE(result.picture->SurroundingsIntact());
        EXPECT_TRUE(SameBytes(source, BytesOf(*block))) << "the source";
      }
    }
  }
}

TEST_P(ToDest, FillsTheCornerOrLeavesItAlone) {
  const NothingLost watch(host);
  for (const Size size : {Size{3, 5}, Size{33, 2}}) {
    const oracle::Buffer buffer = BufferOf(method, {}, size, 2);
    CheckDest(buffer, size, 2, true);
    CheckDest(buffer, {size.width + 9, size.height + 2}, 2, true);
    CheckDest(buffer, {size.width - 1, size.height + 2}, 2, false);
    CheckDest(buffer, {size.width + 9, size.height - 1}, 2, false);
    for (const std::int32_t unwritable : {0, 1, 3}) {
      CheckDest(buffer, size, unwritable, false);
    }
  }
}

TEST_P(ToLargePicture, GivesNilForSizesOver32767) {
  const NothingLost watch(host);
  const auto block = host.NewMemoryBlock(16);
  for (const Size size : {Size{32768, 1}, Size{1, 32768}, Size{40000, 40000}}) {
    oracle::Buffer buffer = BufferOf(method, {}, size, 0);
    const auto result = Convert(buffer, {.pixelBytes = 0}, nullptr, block.get());
    EXPECT_EQ(nullptr, result.picture.get());
    EXPECT_FALSE(result.exception);
    EXPECT_EQ(0, CountCalls(host, "newPicture"));
  }
}

TEST_P(InPlace, Converts) {
  const NothingLost watch(host);
  for (std::int32_t width = 1; width <= 70; ++width) {
    SCOPED_TRACE(width);
    const auto picture = host.NewPicture(width, 1);
    FillWithNoise(*picture, static_cast<std::uint64_t>(width));
    const Bytes source = BytesOf(*picture);
    const Bytes written = Written(*picture, BufferOf(method, {}, {width, 1}, 0), source.data());
    const auto result = host.Call(
        method.name, {picture.get(), Ptr{picture->Row(0)}, std::int32_t{0}, width, std::int32_t{1}});
    EXPECT_EQ(picture.get(), result.picture.get());
    EXPECT_TRUE(SameBytes(written, BytesOf(*picture)));
  }
}

std::string NameOf(const testing::TestParamInfo<ToPicture::ParamType>& info) {
  const std::size_t row = std::get<1>(info.param);
  return std::string(std::get<0>(info.param).name) + "_" + TestName(GlobalMethods()[row], row + 1);
}

/// The methods on `hosts`, as far as `takes` says.
auto MethodsOn(std::initializer_list<HostCase> hosts, bool (*takes)(const HostCase&, const Method&)) {
  std::vector<ToPicture::ParamType> parameters;
  for (const HostCase& host : hosts) {
    for (std::size_t row = 0; row < GlobalMethods().size(); ++row) {
      if (takes(host, GlobalMethods()[row])) {
        parameters.emplace_back(host, row);
      }
    }
  }
  return testing::ValuesIn(parameters);
}

bool TakesEverything(const HostCase&, const Method&) {
  return true;
}

bool HasDest(const HostCase&, const Method& method) {
  return method.Has("dest");
}

bool IsInPlace(const HostCase& host, const Method& method) {
  return method.Has("dest") && method.ReadsPtr() &&
         oracle::PictureLayout(host.pixelType).size() == method.layout.size();
}

INSTANTIATE_TEST_SUITE_P(, ToPicture,
                         MethodsOn({kDesktop, kDesktop24, kConsole, kWeb, kUnknown}, TakesEverything),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(, ToDest, MethodsOn({kDesktop, kDesktop24, kConsole}, HasDest), NameOf);
INSTANTIATE_TEST_SUITE_P(, ToLargePicture, MethodsOn({kDesktop}, TakesEverything), NameOf);
INSTANTIATE_TEST_SUITE_P(, InPlace, MethodsOn({kDesktop, kDesktop24, kConsole}, IsInPlace), NameOf);

}  // namespace
}  // namespace tests
