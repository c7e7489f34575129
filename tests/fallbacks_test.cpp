// What methods give on hosts that lack something, or do not keep to what they said.
#include <functional>
#include <utility>

#include "call.h"

namespace tests {
namespace {

using devhost::Fault;
using devhost::Reaction;

constexpr std::int32_t kZero = 0;

bool Copy(devhost::Host& host, REALpictureStruct& picture, REALmemoryBlockStruct& block) {
  return host.Call("CopyRGBtoMemoryblockKVZ", {&picture, &block, kZero}).boolean;
}

TEST(Fallbacks, AnEmptyBandNeedsNoAddress) {
  devhost::HostOptions options;
  options.without.insert("memoryBlockGetPtr");
  LoadedHost host(options);
  const auto block = host.NewMemoryBlock(18);
  struct Band {
    std::int32_t width, first, last;
    bool isEmpty;
  };
  for (const Band& band : {Band{2, 0, -1, false}, {2, 1, 1, false}, {2, 2, 1, true}, {0, 0, -1, true}}) {
    host.trace.clear();
    const auto picture = host.NewPicture(band.width, 3);
    const auto result =
        host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), block.get(), kZero, band.first, band.last, 1});
    EXPECT_EQ(band.isEmpty, result.boolean);
    EXPECT_EQ(1, CountCalls(host, "memoryBlockGetSize"));
    EXPECT_EQ(0, CountCalls(host, "REALYieldToRB"));
  }
}

/// What lies outside of the description is not written, and rows that the picture turns out not to have are
/// written to its first one, each over the one before.
TEST(Fallbacks, APictureThatIsSmallerThanItSaidIsFilledAsFarAsItGoes) {
  constexpr Size kSaid = {3, 5};
  for (const HostCase& hostCase : {kDesktop, kDesktop24, kConsole}) {
    for (const Size described : {Size{3, 3}, {2, 5}, {2, 2}, {0, 2}, {-1, 2}, {3, 0}, {3, -1}}) {
      SCOPED_TRACE(testing::Message() << hostCase.name << ' ' << described.width << ' ' << described.height);
      LoadedHost host(hostCase.Options());
      const NothingLost watch(host);
      const auto dest = host.NewPicture(kSaid.width, kSaid.height);
      const auto block = host.NewMemoryBlock(45);
      FillWithNoise(*dest, 1);
      FillWithNoise(*block, 2);
      Bytes expected = BytesOf(*dest);
      const auto layout = oracle::PictureLayout(hostCase.pixelType);
      for (std::int32_t i = 0; i < kSaid.width * kSaid.height; ++i) {
        const Size at = {i % kSaid.width, i / kSaid.width};
        if (at.width < described.width && described.height > 0) {
          const std::int32_t row = at.height < described.height ? at.height : 0;
          oracle::WritePixel(
              layout, oracle::ReadPixel("RGB", block->bytes() + 3 * i),
              oracle::PictureAlpha(hostCase.pixelType), {},
              &expected[static_cast<std::size_t>(row * kSaid.width + at.width) * layout.size()]);
        }
      }
      const auto setSize = [&dest](Size size) {
        dest->width = size.width;
        dest->height = size.height;
      };
      host.onEntry = [&](std::string_view entry) {
        if (entry == "lockPictureDescription" || entry == "REALLockPictureDescription") {
          setSize(described);
        }
        return Reaction::kAct;
      };
      const auto made = host.Call("MemoryblockRGBtoPictureKVZ",
                                  {dest.get(), block.get(), kZero, kSaid.width, kSaid.height});
      setSize(kSaid);
      EXPECT_EQ(dest.get(), made.picture.get());
      EXPECT_EQ("", Difference(expected, BytesOf(*dest)));
    }
  }
}

TEST(Fallbacks, TheKindOfHostThatACallInTheMiddleOfTheLookUpHasLearntIsKept) {
  LoadedHost host(kConsole.Options());
  const auto picture = host.NewPicture(2, 2);
  const auto block = host.NewMemoryBlock(12);
  bool isOuter = true;
  host.onEntry = [&](std::string_view entry) {
    if (entry != "pluginObjectType") {
      return Reaction::kAct;
    }
    if (std::exchange(isOuter, false)) {
      const auto outer = std::exchange(host.onEntry, nullptr);
      EXPECT_TRUE(Copy(host, *picture, *block));
      host.onEntry = outer;
    }
    return Reaction::kFail;
  };
  EXPECT_TRUE(Copy(host, *picture, *block));
  EXPECT_EQ(0, CountCalls(host, "lockPictureDescription"));
}

TEST(Fallbacks, BitmapsWithoutRowsHaveNoRowTableToRead) {
  LoadedHost host(kConsole.Options());
  const auto picture = host.NewPicture(2, 0);
  const auto block = host.NewMemoryBlock(6);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): an address that nobody can read
  picture->bitmap->rowTable = reinterpret_cast<std::uint8_t**>(std::uintptr_t{8});
  EXPECT_TRUE(Copy(host, *picture, *block));
}

/// The host's exceptions pass where a picture is given back that turns out to be of no use.
TEST(Fallbacks, UselessPicturesAreUnlockedWhateverTheHostThrows) {
  for (const HostCase& hostCase : {kConsole, kDesktop}) {
    for (const char* throwing : {"none", "UnlockPixels", "unlockPictureDescription"}) {
      SCOPED_TRACE(std::string(hostCase.name) + ", " + throwing);
      LoadedHost host(hostCase.Options());
      const NothingLost watch(host);
      const auto picture = host.NewPicture(2, 2);
      const auto block = host.NewMemoryBlock(12);
      if (picture->bitmap) {
        picture->bitmap->word1806 = 0;
      }
      devhost::Injection injection(host,
                                   {{.kind = Fault::Kind::kFails, .entry = "GetPixBaseAddr", .once = false},
                                    {.kind = Fault::Kind::kThrows, .entry = throwing}});
      host.onEntry = std::ref(injection);
      bool hasThrown = false;
      try {
        EXPECT_FALSE(Copy(host, *picture, *block));
      } catch (const devhost::HostFault&) {
        hasThrown = true;
      }
      EXPECT_EQ(injection.thrown > 0, hasThrown);
      EXPECT_EQ("unlockPictureDescription", host.trace.back().entry);
    }
  }
}

}  // namespace
}  // namespace tests
