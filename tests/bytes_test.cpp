// Every method, byte for byte, in guarded memory.
#include <limits>

#include "call.h"

namespace tests {
namespace {

using devhost::PixelFormat;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
// Steps of which some lead back to where they began if they are counted in 32 bits.
constexpr std::int32_t kSteps[] = {0, 1, 2, 3, 4, -1, -3, -(1 << 30), kLowest};
/// A Yield argument with which the host never gets control, but rows are copied one by one.
constexpr std::int32_t kNeverYet = 2'000'000'000;

constexpr Size kSizes[] = {{1, 1}, {2, 1}, {3, 5}, {17, 3}, {33, 2}, {64, 2}, {67, 4}};

class BytesOn : public testing::TestWithParam<HostCase> {
 protected:
  BytesOn() : hostCase(GetParam()), host(hostCase.GuardedOptions()) {}

  /// Calls the methods that copy, or those that make pictures; those alone that have the parameter.
  void Check(bool copies, const CallSpec& spec, const char* parameter = "offset") {
    for (const Method& method : host.all) {
      if (method.copies == copies && method.Has(parameter)) {
        host.trace.clear();
        EXPECT_EQ("", Call(host, method, spec).Run()) << method.declaration << "\n" << spec;
        EXPECT_EQ(0, CountCalls(host, "REALYieldToRB"));
      }
    }
  }

  /// A call about pictures of `size`, as the host reads and makes them.
  CallSpec SpecFor(Size size, Integers integers) const {
    return {.picture = {size, hostCase.readFrom},
            .mask = {size, hostCase.OwnFormat()},
            .integers = std::move(integers)};
  }

  const HostCase hostCase;
  LoadedHost host;
};

class CopiesOn : public BytesOn {};

TEST_P(CopiesOn, BandsOfEverySize) {
  std::vector<Size> sizes = {{0, 3}, {3, 0}};
  sizes.insert(sizes.end(), std::begin(kSizes), std::end(kSizes));
  std::int32_t kind = 0;
  for (const Size size : sizes) {
    const std::int32_t height = size.height;
    for (const auto& [startLine, endLine] : {std::pair{0, -1},
                                             {1, -1},
                                             {0, 0},
                                             {height - 1, height - 1},
                                             {height, -1},
                                             {height + 9, height + 9},
                                             {0, height + 7},
                                             {1, 0},
                                             {2, 3}}) {
      // Longer than a packed row, packed, or shorter.
      for (const auto& [destRowBytes, offset] :
           {std::pair{size.width * 4 + 5, 3}, {size.width * 4 + 64, 0}, {0, 3}, {size.width * 3 - 1, 0}}) {
        CallSpec spec = SpecFor(size, {{"offset", offset},
                                       {"StartLine", startLine},
                                       {"EndLine", endLine},
                                       {"DestRowBytes", destRowBytes},
                                       {"AlphaValue", 200},
                                       {"Yield", offset == 0 ? kNeverYet : 0}});
        spec.kind = kind++ % 8;  // pictures of every kind are read
        Check(true, spec);
      }
    }
  }
}

TEST_P(CopiesOn, PixelsApart) {
  for (const Size size : {Size{3, 5}, Size{67, 4}}) {
    for (const std::int32_t step : kSteps) {
      for (const std::int32_t offset : {0, 40, 1000}) {
        for (const std::int32_t stride : {size.width * 4 + 5, 0}) {
          Check(
              true,
              SpecFor(
                  size,
                  {{"offset", offset}, {"PixelByteSize", step}, {"StartLine", 1}, {"DestRowBytes", stride}}),
              "PixelByteSize");
        }
      }
    }
  }
}

TEST_P(CopiesOn, AlphaValuesInBothOrders) {
  for (const std::int32_t alpha : {0, 255, 256, 300, -1}) {
    for (const bool littleEndian : {false, true}) {
      for (const std::int32_t stride : {67 * 4 + 5, 0}) {
        CallSpec spec = SpecFor({67, 4}, {{"offset", 1}, {"AlphaValue", alpha}, {"DestRowBytes", stride}});
        spec.flag = littleEndian;
        Check(true, spec, "AlphaValue");
      }
    }
  }
}

TEST_P(CopiesOn, TheSizeOfTheMask) {
  std::vector<PixelFormat> formats = {PixelFormat::kBitmap};
  if (hostCase.kind == devhost::Kind::kDesktop) {
    formats = {PixelFormat::kWorld32, PixelFormat::kWorld24, PixelFormat::kWorld16};
  }
  for (const PixelFormat format : formats) {
    for (const Size size : {Size{33, 4}, {16, 2}, {40, 4}, {33, 7}, {50, 6}, {1, 9}}) {
      for (const auto& [startLine, endLine] : {std::pair{0, -1}, {3, 5}, {99, -1}}) {
        CallSpec spec = SpecFor({33, 4}, {{"offset", 2},
                                          {"StartLine", startLine},
                                          {"EndLine", endLine},
                                          {"DestRowBytes", size.width * 4 + 8}});
        spec.mask = {size, format};
        Check(true, spec, "MaskForAlpha");
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, CopiesOn,
                         testing::Values(kDesktop, kDesktop24, kDesktop16, kDesktopBitmap, kConsole, kWeb,
                                         kUnknown),
                         testing::PrintToStringParamName());

class PicturesOn : public BytesOn {
 protected:
  static std::vector<std::int32_t> Ramp(std::int32_t first, std::int32_t end) {
    std::vector<std::int32_t> elements;
    for (std::int32_t i = first; i < end; ++i) {
      elements.push_back(i * 7 - 400);
    }
    return elements;
  }

  /// Channels of gray values in every way that methods have.
  static std::vector<CallSpec> Grays(CallSpec spec) {
    std::vector<CallSpec> specs;
    for (const auto& [red, blue, green] : {oracle::Weights{0, 255, 256},
                                           {256, 0, 128},
                                           {512, -5, 32767},
                                           {8421505, kLowest, -1},
                                           {77, 65535, 0},
                                           {77, 151, -8421505}}) {
      spec.integers["Red"] = red;
      spec.integers["Blue"] = blue;
      spec.integers["Green"] = green;
      specs.push_back(spec);
    }
    specs[0].palettes = {Ramp(44, 300), Ramp(0, 300), std::vector{9, 300, -7}};
    specs[1].palettes = {std::nullopt, std::nullopt, std::vector<std::int32_t>(256, 255)};
    specs[2].palettes = {std::vector<std::int32_t>(), Ramp(44, 300), std::nullopt};
    return specs;
  }
};

TEST_P(PicturesOn, FillsNewOnes) {
  std::vector<Size> sizes = {{kMostPixels + 1, 1}, {1, kMostPixels + 1}};  // which give nil
  sizes.insert(sizes.end(), std::begin(kSizes), std::end(kSizes));
  for (const Size size : sizes) {
    for (const std::int32_t offset : {0, 7}) {
      CallSpec spec = SpecFor(size, {{"offset", offset}});
      for (const bool flag : {false, true}) {
        spec.flag = flag;
        Check(false, spec);
      }
      for (const std::int32_t step : kSteps) {
        spec.integers["PixelByteSize"] = step;
        for (const CallSpec& each : Grays(spec)) {
          Check(false, each, "PixelByteSize");
        }
      }
    }
  }
}

TEST_P(PicturesOn, FillsTheCornerOfDestOrLeavesItAlone) {
  for (const Size size : {Size{3, 5}, Size{33, 2}}) {
    for (const Size wider : {Size{0, 0}, {9, 2}, {-1, 2}, {9, -1}}) {
      for (const std::int32_t kind : {2, 4, 0, 1, 3}) {
        CallSpec spec = SpecFor(size, {{"offset", 2}});
        spec.dest = {{size.width + wider.width, size.height + wider.height}, hostCase.OwnFormat()};
        spec.kind = kind;
        Check(false, spec, "dest");
      }
    }
  }
}

TEST_P(PicturesOn, ConvertsPixelsInPlace) {
  const NothingLost watch(host);
  const auto pixelBytes = oracle::PictureLayout(hostCase.pixelType).size();
  for (const Method& method : host.all) {
    if (!method.Has("dest") || !method.Has("source", rastel::abi::HostType::kPtr) ||
        method.layout.size() != pixelBytes) {
      continue;
    }
    for (std::int32_t width = 1; width <= 70; ++width) {
      const auto picture = host.NewPicture(width, 1);
      FillWithNoise(*picture, static_cast<std::uint64_t>(width));
      const Bytes source = BytesOf(*picture);
      Bytes expected = source;
      const oracle::Buffer buffer{
          .layout = method.layout, .width = width, .height = 1, .pixelBytes = std::ssize(method.layout)};
      oracle::Write(buffer, source.data(), hostCase.pixelType, width, expected);
      const auto result = host.Call(method, {picture.get(), devhost::Ptr{picture->Row(0)}, 0, width, 1});
      EXPECT_EQ(picture.get(), result.picture.get());
      EXPECT_EQ("", Difference(expected, BytesOf(*picture))) << method.name << ", " << width;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, PicturesOn, testing::Values(kDesktop, kDesktop24, kConsole, kWeb, kUnknown),
                         testing::PrintToStringParamName());

}  // namespace
}  // namespace tests
