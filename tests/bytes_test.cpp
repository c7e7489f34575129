// Every method, byte for byte, in guarded memory.
#include <limits>

#include "call.h"

namespace tests {
namespace {

using devhost::PixelFormat;

// Steps that lead back to where they began if they are counted in 32 bits.
constexpr std::int32_t kFarBack = -(1 << 30);
constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
/// A Yield argument with which the host never gets control, but rows are copied one by one.
constexpr std::int32_t kNeverYet = 2'000'000'000;

constexpr Size kSizes[] = {{1, 1}, {2, 1}, {3, 5}, {17, 3}, {33, 2}, {64, 2}, {67, 4}};

struct Band {
  std::int32_t startLine, endLine;
};

class BytesOn : public testing::TestWithParam<HostCase> {
 protected:
  BytesOn() : hostCase(GetParam()), host(hostCase.GuardedOptions()) {}

  void Check(const Method& method, const CallSpec& spec) {
    host.trace.clear();
    EXPECT_EQ("", Call(host, method, spec).Run()) << method.registration.declaration << "\n" << spec;
    EXPECT_EQ(0, CountCalls(host, "REALYieldToRB"));
  }

  /// A call about pictures of `size`, as the host reads and makes them.
  CallSpec SpecFor(Size size) const {
    return {.picture = {size, hostCase.readFrom}, .mask = {size, hostCase.OwnFormat()}};
  }

  const HostCase hostCase;
  LoadedHost host;
};

class CopiesOn : public BytesOn {
 protected:
  template <typename Function>
  void ForEachCopy(Function check) {
    for (const Method& method : host.all) {
      if (method.copies) {
        check(method);
      }
    }
  }

  /// Calls with all values of the arguments that the method has besides the band.
  static std::vector<CallSpec> OwnArguments(const Method& method, CallSpec spec) {
    std::vector<CallSpec> specs;
    if (method.Has("PixelByteSize")) {
      spec.startLine = 1;
      for (const std::int32_t pixelBytes : {0, 1, 2, 3, 4, -1, -3, kFarBack, kLowest}) {
        for (const std::int32_t offset : {0, 40, 1000}) {
          specs.push_back(spec);
          specs.back().pixelBytes = pixelBytes;
          specs.back().offset = offset;
        }
      }
    } else if (method.Has("AlphaValue")) {
      spec.offset = 1;
      for (const std::int32_t alpha : {0, 255, 256, 300, -1}) {
        for (const bool littleEndian : {false, true}) {
          specs.push_back(spec);
          specs.back().alpha = alpha;
          specs.back().flag = littleEndian;
        }
      }
    }
    return specs;
  }
};

TEST_P(CopiesOn, BandsOfEverySize) {
  ForEachCopy([this](const Method& method) {
    for (const Size size : kSizes) {
      const std::int32_t height = size.height;
      CallSpec spec = SpecFor(size);
      spec.alpha = 200;
      const auto packed = size.width * static_cast<std::int32_t>(method.layout.size());
      for (const Band band : {Band{0, -1},
                              {1, -1},
                              {0, 0},
                              {height - 1, height - 1},
                              {height, -1},
                              {height + 9, height + 9},
                              {0, height + 7},
                              {1, 0},
                              {2, 3}}) {
        spec.startLine = band.startLine;
        spec.endLine = band.endLine;
        for (const auto& [destRowBytes, offset] :
             {std::pair{packed + 5, 3}, {packed + 64, 0}, {0, 3}, {packed - 1, 0}}) {
          spec.destRowBytes = destRowBytes;
          spec.offset = offset;
          spec.yield = offset == 0 ? kNeverYet : 0;
          Check(method, spec);
        }
      }
    }
  });
}

TEST_P(CopiesOn, TheirOwnArguments) {
  ForEachCopy([this](const Method& method) {
    for (const Size size : {Size{3, 5}, Size{67, 4}}) {
      for (const std::int32_t stride : {size.width * 4 + 5, 0}) {
        CallSpec spec = SpecFor(size);
        spec.destRowBytes = stride;
        for (const CallSpec& each : OwnArguments(method, spec)) {
          Check(method, each);
        }
      }
    }
  });
}

TEST_P(CopiesOn, TheSizeOfTheMask) {
  std::vector<PixelFormat> formats = {PixelFormat::kBitmap};
  if (hostCase.kind == devhost::Kind::kDesktop) {
    formats = {PixelFormat::kWorld32, PixelFormat::kWorld24, PixelFormat::kWorld16};
  }
  ForEachCopy([&](const Method& method) {
    for (const PixelFormat format : formats) {
      for (const Size size : {Size{33, 4}, {16, 2}, {40, 4}, {33, 7}, {50, 6}, {1, 9}}) {
        for (const Band band : {Band{0, -1}, {3, 5}, {99, -1}}) {
          CallSpec spec = SpecFor({33, 4});
          spec.mask = {size, format};
          spec.startLine = band.startLine;
          spec.endLine = band.endLine;
          spec.destRowBytes = size.width * 4 + 8;
          spec.offset = 2;
          if (method.Has("MaskForAlpha")) {
            Check(method, spec);
          }
        }
      }
    }
  });
}

TEST_P(CopiesOn, Nothing) {
  ForEachCopy([this](const Method& method) {
    for (const Size size : {Size{0, 3}, Size{3, 0}}) {
      for (const std::int32_t line : {0, 2, 5}) {
        CallSpec spec = SpecFor(size);
        spec.startLine = line;
        spec.offset = 1;
        Check(method, spec);
      }
    }
  });
}

std::string NameOf(const testing::TestParamInfo<HostCase>& info) {
  return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(, CopiesOn,
                         testing::Values(kDesktop, kDesktop24, kDesktop16, kDesktopBitmap, kConsole, kWeb,
                                         kUnknown),
                         NameOf);

class PicturesOn : public BytesOn {
 protected:
  template <typename Function>
  void ForEachMaker(Function check) {
    for (const Method& method : host.all) {
      if (!method.copies) {
        check(method);
      }
    }
  }

  /// Calls with all values of what the method takes besides source, offset and size.
  static std::vector<CallSpec> OwnArguments(const Method& method, CallSpec spec) {
    std::vector<CallSpec> specs;
    if (method.HasPalettes()) {
      spec.palettes = {Ramp(44, 300), Ramp(0, 300), std::vector{9, 300, -7}};
    }
    spec.weights = {256, 0, 128};
    for (const std::int32_t pixelBytes : {1, 0, 2, 3, 4, -1, -3}) {
      specs.push_back(spec);
      specs.back().pixelBytes = pixelBytes;
      specs.back().flag = pixelBytes == 0;
      if (!method.Has("PixelByteSize") && pixelBytes == 0) {
        return specs;
      }
    }
    spec.pixelBytes = 1;
    for (const oracle::Weights& weights : {oracle::Weights{0, 255, 256},
                                           {512, -5, 32767},
                                           {8421505, kLowest, -1},
                                           {77, 32768, 0},
                                           {77, 151, -8421505}}) {
      specs.push_back(spec);
      specs.back().weights = weights;
    }
    specs.push_back(spec);
    specs.back().palettes = {std::nullopt, std::nullopt, std::vector<std::int32_t>(256, 255)};
    specs.push_back(spec);
    specs.back().palettes = {std::vector<std::int32_t>(), Ramp(44, 300), std::nullopt};
    return specs;
  }

  static std::vector<std::int32_t> Ramp(std::int32_t first, std::int32_t end) {
    std::vector<std::int32_t> elements;
    for (std::int32_t i = first; i < end; ++i) {
      elements.push_back(i * 7 - 400);
    }
    return elements;
  }
};

TEST_P(PicturesOn, FillsNewOnes) {
  ForEachMaker([this](const Method& method) {
    for (const Size size : kSizes) {
      for (CallSpec& spec : OwnArguments(method, SpecFor(size))) {
        for (const std::int32_t offset : {0, 7}) {
          spec.offset = offset;
          Check(method, spec);
        }
      }
    }
  });
}

TEST_P(PicturesOn, FillsTheCornerOfDestOrLeavesItAlone) {
  ForEachMaker([this](const Method& method) {
    for (const Size size : {Size{3, 5}, Size{33, 2}}) {
      CallSpec spec = SpecFor(size);
      spec.offset = 2;
      for (const Size wider : {Size{0, 0}, {9, 2}, {-1, 2}, {9, -1}}) {
        for (const std::int32_t type : {2, 4, 0, 1, 3}) {
          spec.dest = {{size.width + wider.width, size.height + wider.height}, hostCase.OwnFormat()};
          spec.destType = type;
          if (method.Has("dest")) {
            Check(method, spec);
          }
        }
      }
    }
  });
}

TEST_P(PicturesOn, GivesNilForSizesOver32767) {
  ForEachMaker([this](const Method& method) {
    for (const Size size : {Size{32768, 1}, Size{1, 32768}, Size{40000, 40000}}) {
      CallSpec spec = SpecFor(size);
      spec.pixelBytes = 0;
      Check(method, spec);
    }
  });
}

TEST_P(PicturesOn, ConvertsPixelsInPlace) {
  const NothingLost watch(host);
  ForEachMaker([this](const Method& method) {
    const auto pixelBytes = oracle::PictureLayout(hostCase.pixelType).size();
    if (!method.Has("dest") || !method.Has("source", rastel::abi::HostType::kPtr) ||
        method.layout.size() != pixelBytes) {
      return;
    }
    for (std::int32_t width = 1; width <= 70; ++width) {
      const auto picture = host.NewPicture(width, 1);
      FillWithNoise(*picture, static_cast<std::uint64_t>(width));
      const Bytes source = BytesOf(*picture);
      Bytes expected = source;
      const oracle::Buffer buffer{
          .layout = method.layout, .width = width, .height = 1, .pixelBytes = std::ssize(method.layout)};
      oracle::Write(buffer, source.data(), hostCase.pixelType, width, expected);
      const auto result = host.Call(method.name, {picture.get(), devhost::Ptr{picture->Row(0)},
                                                  std::int32_t{0}, width, std::int32_t{1}});
      EXPECT_EQ(picture.get(), result.picture.get());
      EXPECT_TRUE(SameBytes(expected, BytesOf(*picture))) << method.name << ", " << width;
    }
  });
}

INSTANTIATE_TEST_SUITE_P(, PicturesOn, testing::Values(kDesktop, kDesktop24, kConsole, kWeb, kUnknown),
                         NameOf);

}  // namespace
}  // namespace tests
