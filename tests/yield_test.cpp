// Copies that give the host control in between.
#include "loaded_host.h"
#include "methods.h"
#include "support.h"

namespace tests {
namespace {

constexpr std::int32_t kZero = 0;

/// Copies a picture of `width` × 6 pixels and gives how often the host got control.
int YieldsOf(devhost::Host& host, const Method& method, std::int32_t yield, std::int32_t width = 3) {
  const auto picture = host.NewPicture(width, 6);
  const auto mask = host.NewPicture(width, 6);
  const auto block = host.NewMemoryBlock(200);
  host.trace.clear();
  const auto result = Call(host, method,
                           {{"self", picture.get()},
                            {"destination", block.get()},
                            {"offset", kZero},
                            {"PixelByteSize", std::int32_t{1}},
                            {"AlphaValue", kZero},
                            {"MaskForAlpha", mask.get()},
                            {"LittleEndian", false},
                            {"StartLine", std::int32_t{1}},
                            {"EndLine", std::int32_t{-1}},
                            {"Yield", yield},
                            {"DestRowBytes", kZero}});
  EXPECT_TRUE(result.boolean);
  return CountCalls(host, "REALYieldToRB");
}

struct Expected {
  std::int32_t yield;
  int count;
};

TEST(Yield, ComesAfterRowsWhenTheIntervalHasPassed) {
  LoadedHost host(kConsole.Options());
  host.clock.ticksPerReading = 4;
  host.clock.nanosecondsPerReading = 4'000'000;
  // Five rows, each reading the clock once, or twice if it yields: 4 units pass between two readings.
  for (const Method& method : PictureMethods()) {
    SCOPED_TRACE(method.Declaration());
    for (const Expected& expected : {Expected{0, 0},
                                     {1, 5},
                                     {4, 5},
                                     {5, 3},
                                     {8, 3},
                                     {12, 2},
                                     {500, 1},
                                     {-1, 5},
                                     {-4, 5},
                                     {-5, 3},
                                     {-12, 2},
                                     {-15000, 1},
                                     {2'000'000'000, 0},
                                     {-2'000'000'000, 0}}) {
      EXPECT_EQ(expected.count, YieldsOf(host, method, expected.yield)) << expected.yield;
    }
  }
}

TEST(Yield, ComesOnceARowAlsoWithoutPixels) {
  LoadedHost host(kConsole.Options());
  host.clock.ticksPerReading = 1;
  for (const Method& method : PictureMethods()) {
    EXPECT_EQ(5, YieldsOf(host, method, 1, 0)) << method.Declaration();
  }
}

TEST(Yield, WithoutTheEntryOnlyReadsTheClock) {
  devhost::HostOptions options = kConsole.Options();
  options.without.insert("REALYieldToRB");
  LoadedHost host(options);
  host.clock.ticksPerReading = 4;
  EXPECT_EQ(0, YieldsOf(host, PictureMethods().front(), 5));
  EXPECT_EQ(5 + 3, CountCalls(host, "TickCount"));
}

TEST(Yield, LetsTheHostReadThePictureMeanwhile) {
  for (const HostCase& hostCase : {kDesktop, kConsole, kDesktop16}) {
    SCOPED_TRACE(hostCase.name);
    LoadedHost host(hostCase.Options());
    NothingLost watch(host);
    watch.expectedStrayUnlocks = hostCase.readFrom == devhost::PixelFormat::kWorld16 ? 3 : 0;
    host.clock.ticksPerReading = 1;
    const auto picture = host.NewPicture(5, 2, hostCase.readFrom);
    FillWithNoise(*picture, 1);
    const auto outer = host.NewMemoryBlock(30);
    const auto inner = host.NewMemoryBlock(30);
    int yields = 0;
    host.onYield = [&] {
      ++yields;
      EXPECT_EQ(1, host.CurrentBalance().descriptionLocks);
      EXPECT_TRUE(host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), inner.get(), kZero}).boolean);
      EXPECT_EQ(1, host.CurrentBalance().descriptionLocks);
    };
    EXPECT_TRUE(
        host.Call("CopyRGBtoMemoryblockKVZ", {picture.get(), outer.get(), kZero, kZero, -1, 1}).boolean);
    EXPECT_EQ(2, yields);
    EXPECT_TRUE(SameBytes(BytesOf(*outer), BytesOf(*inner)));
    EXPECT_NE(Bytes(30, 0), BytesOf(*outer));
  }
}

}  // namespace
}  // namespace tests
