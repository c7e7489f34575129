// What methods give on hosts that lack something.
#include <tuple>

#include "methods.h"
#include "support.h"

namespace tests {
namespace {

using devhost::HostOptions;

constexpr std::int32_t kZero = 0;
constexpr std::int32_t kTwo = 2;

TEST(Fallbacks, AnEmptyBandNeedsNoAddress) {
  HostOptions options;
  options.without.insert("memoryBlockGetPtr");
  LoadedHost host(options);
  const auto picture = host.NewPicture(2, 3);
  const auto block = host.NewMemoryBlock(12);
  const auto copy = [&](std::int32_t startLine, std::int32_t endLine) {
    return host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), kZero, startLine, endLine, 1})
        .boolean;
  };
  EXPECT_FALSE(copy(0, -1));
  EXPECT_FALSE(copy(1, 1));
  EXPECT_TRUE(copy(2, 1));
  EXPECT_EQ(0, CountCalls(host, "REALYieldToRB"));
  EXPECT_EQ(3, CountCalls(host, "memoryBlockGetSize"));
  const auto none = host.NewPicture(0, 3);
  EXPECT_TRUE(host.Call("CopyRGBtoMemoryblockKVZ", {none.get(), block.get(), kZero}).boolean);
}

/// Rows that the picture turns out not to have are written to its first one, each over the one before.
TEST(Fallbacks, APictureThatIsLowerThanItSaysIsFilled) {
  LoadedHost host(kConsole.Options());
  const NothingLost watch(host);
  const auto dest = host.NewPicture(1, 5);
  const auto block = host.NewMemoryBlock(15);
  FillWithNoise(*block, 3);
  host.onEntry = [&](std::string_view entry) {
    dest->height = entry == "REALLockPictureDescription" ? 3 : dest->height;
    return devhost::Reaction::kAct;
  };
  const auto made = host.Call("MemoryblockRGBtoPictureKVZ", {dest.get(), block.get(), kZero, 1, 5});
  EXPECT_EQ(dest.get(), made.picture.get());
  for (const auto& [row, source] : {std::pair{0, 4}, {1, 1}, {2, 2}}) {
    EXPECT_EQ(block->bytes()[3 * source], dest->At(0, row).red) << row;
  }
}

/// A picture that is described smaller than it said: what lies outside of the description is not written.
TEST(Fallbacks, APictureThatIsNarrowerThanItSaysIsFilledAsFarAsItGoes) {
  struct Size {
    std::int32_t width, height;
  };
  for (const HostCase& hostCase : {kDesktop, kDesktop24, kConsole}) {
    for (const Size& described : {Size{2, 2}, {0, 2}, {-1, 2}, {3, 0}, {3, -1}}) {
      SCOPED_TRACE(testing::Message() << hostCase.name << ' ' << described.width << ' ' << described.height);
      LoadedHost host(hostCase.Options());
      const NothingLost watch(host);
      const auto dest = host.NewPicture(3, 2);
      const auto block = host.NewMemoryBlock(18);
      FillWithNoise(*dest, 1);
      FillWithNoise(*block, 2);
      Bytes expected = BytesOf(*dest);
      const oracle::Buffer all{.layout = "RGB", .width = 3, .height = 2, .pixelBytes = 3};
      Bytes filled = expected;
      oracle::Write(all, block->bytes(), hostCase.pixelType, 3, filled);
      const auto pixelBytes = oracle::PictureLayout(hostCase.pixelType).size();
      for (std::size_t i = 0; i < expected.size(); ++i) {
        const bool isInside = described.height > 0 && described.width == 2 && i / pixelBytes % 3 < 2;
        expected[i] = isInside ? filled[i] : expected[i];
      }
      host.onEntry = [&](std::string_view entry) {
        if (entry == "lockPictureDescription" || entry == "REALLockPictureDescription") {
          std::tie(dest->width, dest->height) = std::tie(described.width, described.height);
        }
        return devhost::Reaction::kAct;
      };
      const auto made = host.Call("MemoryblockRGBtoPictureKVZ", {dest.get(), block.get(), kZero, 3, 2});
      std::tie(dest->width, dest->height) = std::tuple(3, 2);
      EXPECT_EQ(dest.get(), made.picture.get());
      EXPECT_TRUE(SameBytes(expected, BytesOf(*dest)));
    }
  }
}

TEST(Fallbacks, TheKindOfHostThatACallInTheMiddleOfTheLookUpHasLearntIsKept) {
  LoadedHost host(kConsole.Options());
  const auto picture = host.NewPicture(2, 2);
  const auto block = host.NewMemoryBlock(12);
  const auto copy = [&] {
    return host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), kZero}).boolean;
  };
  bool isOuter = true;
  host.onEntry = [&](std::string_view entry) {
    if (entry != "pluginObjectType") {
      return devhost::Reaction::kAct;
    }
    if (std::exchange(isOuter, false)) {
      const auto outer = std::exchange(host.onEntry, nullptr);
      EXPECT_TRUE(copy());
      host.onEntry = outer;
    }
    return devhost::Reaction::kFail;
  };
  EXPECT_TRUE(copy());
  EXPECT_EQ(0, CountCalls(host, "lockPictureDescription"));
}

TEST(Fallbacks, MasksThatCannotBeOpenedGiveFalse) {
  HostOptions options = kConsole.Options();
  LoadedHost host(options);
  const NothingLost watch(host);
  const auto picture = host.NewPicture(2, 2);
  const auto mask = host.NewPicture(2, 2);
  mask->bitmap->word0 = 1;
  const auto block = host.NewMemoryBlock(16);
  EXPECT_FALSE(
      host.Call("CopyARGBtoMemoryblockKVZ", {picture.get(), block.get(), kZero, mask.get()}).boolean);
  EXPECT_EQ(Bytes(16, 0), BytesOf(*block));
}

TEST(Fallbacks, ReadersTakePicturesOfEveryKind) {
  LoadedHost host;
  for (const std::int32_t kind : {0, 1, 3, 7}) {
    const auto picture = host.NewPicture(2, 2);
    picture->pictureType = kind;
    const auto block = host.NewMemoryBlock(12);
    EXPECT_TRUE(host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), kZero}).boolean);
  }
}

TEST(Fallbacks, PalettesWithoutTheArrayEntries) {
  // Without a bound only element 0 counts; without a getter all elements of a new host's array are 0.
  struct Expected {
    double version;
    std::set<std::string, std::less<>> without;
    std::uint8_t first, second;
  };
  for (const Expected& expected :
       {Expected{2016.0, {"PluginIntegerArrayGetProc", "RuntimeArrayDirectGetGetProc"}, 0, 0},
        {2015.0, {"PluginIntegerArrayGetProc", "RuntimeArrayDirectGetGetProc"}, 11, 22},
        {2007.5, {"PluginIntegerArrayGetProc", "RuntimeArrayDirectGetGetProc"}, 11, 22},
        {2015.0, {"RuntimeUBound"}, 11, 0},
        {2016.0, {"RuntimeUBound"}, 11, 0}}) {
    SCOPED_TRACE(expected.version);
    HostOptions options;
    options.version = expected.version;
    options.without = expected.without;
    LoadedHost host(options);
    const auto array = host.NewIntegerArray({11, 22});
    const auto block = host.NewMemoryBlock(2);
    block->bytes()[1] = 1;
    const auto result = host.Call("MemoryblockGrayToPictureKVZ",
                                  {block.get(), kZero, kTwo, 1, 1, array.get(), nullptr, array.get()});
    ASSERT_NE(nullptr, result.picture.get());
    EXPECT_EQ((devhost::Pixel{expected.first, 0, expected.first, 255}), result.picture->At(0, 0));
    EXPECT_EQ((devhost::Pixel{expected.second, 0, expected.second, 255}), result.picture->At(1, 0));
    EXPECT_FALSE(result.exception);
  }
}

TEST(Fallbacks, BitmapsWithoutRowsHaveNoRowTableToRead) {
  LoadedHost host(kConsole.Options());
  const auto picture = host.NewPicture(2, 0);
  const auto block = host.NewMemoryBlock(6);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): an address that nobody can read
  picture->bitmap->rowTable = reinterpret_cast<std::uint8_t**>(std::uintptr_t{8});
  EXPECT_TRUE(host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), kZero}).boolean);
}

TEST(Fallbacks, CopiesRowsOnlyBetweenAlikeBitmaps) {
  HostOptions options = kUnknown.Options();
  options.without.insert("pluginPictureGraphicsGetter");
  for (const bool isAlike : {true, false}) {
    LoadedHost host(options);
    NothingLost watch(host);
    const auto picture = host.NewPicture(3, 2);
    FillWithNoise(*picture, 6);
    picture->bitmap->height += isAlike ? 0 : 1;
    const auto block = host.NewMemoryBlock(3 * 2 * 3);
    EXPECT_TRUE(host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), kZero}).boolean);
    const oracle::Colour first = ColourAt(*picture, 0, 0);
    EXPECT_EQ(isAlike ? first.red : 0, block->bytes()[0]);
    EXPECT_EQ(isAlike ? ColourAt(*picture, 2, 1).blue : 0, block->bytes()[17]);
  }
}

}  // namespace
}  // namespace tests
