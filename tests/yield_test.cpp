// Copies that give the host control in between.
#include <algorithm>
#include <functional>
#include <string>

#include "crash_note.h"
#include "figures.h"
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

TEST(Yield, CountsTheFirstIntervalFromZero) {
  LoadedHost host(kConsole.Options());
  host.clock.ticks = host.clock.ticksPerReading = 4;
  EXPECT_EQ(5, YieldsOf(host, PictureMethods().front(), 4));
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

/// A copy in the middle of which the application does something.
class Reentry {
 public:
  static constexpr std::int32_t kWidth = 5;
  static constexpr std::int32_t kHeight = 4;

  Reentry(const HostCase& hostCase, const Method& method) : hostCase_(hostCase), method_(method) {}

  /// What the application does in the middle.
  using Action = void (Reentry::*)();

  /// Copies, does `action` when the host gets control, and expects that nothing was lost. Gives how often the
  /// host got control.
  int Run(Action action) {
    LoadedHost loaded(hostCase_.Options());
    host = &loaded;
    loaded.clock.ticksPerReading = 1;
    MakeObjects();
    oldRows = Copied(*picture);
    newRows = Copied(*other);
    const devhost::Balance before = loaded.CurrentBalance();
    loaded.onYield = [&] {
      ++yields;
      loaded.onYield = nullptr;  // the application's own calls are not interrupted
      (this->*action)();
      loaded.onYield = yields < kHeight ? again : nullptr;
    };
    again = loaded.onYield;
    EXPECT_TRUE(Call(loaded, method_, ArgumentsFor(method_, Objects(*picture, *block))).boolean);
    ExpectRows();
    devhost::Balance after = loaded.CurrentBalance();
    after.strayUnlocks = before.strayUnlocks;  // due to copies of unsupported depths
    after.objects += dropped;
    after.references += dropped;
    EXPECT_EQ(before, after);
    EXPECT_TRUE(loaded.complaints.empty()) << loaded.complaints.front();
    DropObjects();
    return yields;
  }

  void CallSameMethod() {
    EXPECT_TRUE(SameBytes(oldRows, Copied(*picture)));
    EXPECT_EQ(locks, host->CurrentBalance().descriptionLocks);
  }

  /// Each time another one, of all 50.
  void CallOtherMethod() {
    const auto methods = AllMethods();
    for (std::size_t i = static_cast<std::size_t>(yields - 1); i < methods.size(); i += kHeight) {
      const auto inner = host->NewMemoryBlock(kBlockSize);
      CallObjects objects = Objects(*picture, *inner);
      objects.dest = other.get();
      const auto result = Call(*host, methods[i], ArgumentsFor(methods[i], objects));
      EXPECT_TRUE(result.boolean || result.picture) << methods[i].Declaration();
    }
    EXPECT_EQ(locks, host->CurrentBalance().descriptionLocks);
  }

  /// From now on the picture has the other one's pixels.
  void ChangePicture() {
    for (std::int32_t y = 0; y < kHeight; ++y) {
      std::copy_n(other->Row(y), picture->RowLength(), picture->Row(y));
    }
    const bool isCopy = PixelTypeOf(hostCase_.readFrom) == 0 || hostCase_.name == kDesktopBitmap.name;
    rowsBeforeChange = isCopy ? kHeight : std::min(rowsBeforeChange, yields);
  }

  /// The application forgets the picture and the mask that are being read.
  void DropPicture() {
    dropped = yields == 1 ? 2 : dropped;
    picture.reset();
    mask.reset();
  }

 private:
  static constexpr std::int32_t kBlockSize = 200;

  void MakeObjects() {
    picture = host->NewPicture(kWidth, kHeight, hostCase_.readFrom);
    other = host->NewPicture(kWidth, kHeight, hostCase_.readFrom);
    mask = host->NewPicture(kWidth, kHeight);
    block = host->NewMemoryBlock(kBlockSize);
    array = host->NewIntegerArray({1, 2});
    FillWithNoise(*picture, 1);
    FillWithNoise(*other, 2);
    FillWithNoise(*mask, 3);
    locks = method_.Has("MaskForAlpha") ? 2 : 1;
  }

  void DropObjects() {
    for (auto* object : {&picture, &other, &mask}) {
      object->reset();
    }
    block.reset();
    array.reset();
  }

  CallObjects Objects(REALpictureStruct& from, REALmemoryBlockStruct& to) const {
    return {&from, mask.get(), other.get(), &to, array.get(), 2, 2};
  }

  Bytes Copied(REALpictureStruct& from) {
    const auto to = host->NewMemoryBlock(kBlockSize);
    EXPECT_TRUE(Call(*host, method_, ArgumentsFor(method_, Objects(from, *to))).boolean);
    return BytesOf(*to);
  }

  void ExpectRows() {
    const auto rowLength = static_cast<std::ptrdiff_t>(kWidth * method_.layout.size());
    Bytes expected = oldRows;
    const auto start = std::min(rowsBeforeChange, kHeight) * rowLength;
    std::copy(newRows.begin() + start, newRows.end(), expected.begin() + start);
    EXPECT_TRUE(SameBytes(expected, BytesOf(*block)));
  }

  const HostCase hostCase_;
  const Method& method_;
  devhost::Host* host = nullptr;
  devhost::Ref<REALpictureStruct> picture, other, mask;
  devhost::Ref<REALmemoryBlockStruct> block;
  devhost::Ref<_REALarrayInteger> array;
  std::function<void()> again;
  Bytes oldRows, newRows;
  int yields = 0, dropped = 0, locks = 0;
  std::int32_t rowsBeforeChange = kHeight;
};

TEST(Yield, LetsTheHostDoAnythingMeanwhile) {
  constexpr Reentry::Action kActions[] = {&Reentry::CallSameMethod, &Reentry::CallOtherMethod,
                                          &Reentry::ChangePicture, &Reentry::DropPicture};
  int reentries = 0;
  std::string where;
  const CrashNote note([&] { return where; });
  for (const HostCase& hostCase :
       {kDesktop, kDesktop24, kDesktop16, kDesktopBitmap, kConsole, kWeb, kUnknown}) {
    for (const Method& method : PictureMethods()) {
      for (std::size_t action = 0; action < std::size(kActions); ++action) {
        SCOPED_TRACE(testing::Message()
                     << hostCase.name << ", " << method.Declaration() << ", action " << action);
        const int yields = Reentry(hostCase, method).Run(kActions[action]);
        EXPECT_EQ(Reentry::kHeight, yields);
        reentries += yields;
      }
    }
  }
  Figure("reentry")
      .Add("reentries", reentries)
      .Add("methods", PictureMethods().size())
      .Add("actions", std::size(kActions))
      .Add("failures", HasFailure() ? 1 : 0);
}

}  // namespace
}  // namespace tests
