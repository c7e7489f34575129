// Copies that give the host control in between.
#include <functional>

#include "call.h"
#include "figures.h"

namespace tests {
namespace {

/// Copies rows 1 to 5 of a picture and gives how often the host got control.
int YieldsOf(LoadedHost& host, const Method& method, std::int32_t yield, std::int32_t width = 3) {
  host.trace.clear();
  CallSpec spec{.picture = {{width, 6}, devhost::PixelFormat::kBitmap}};
  spec.integers = {{"StartLine", 1}, {"Yield", yield}};
  EXPECT_EQ("", Call(host, method, spec).Run());
  return CountCalls(host, "REALYieldToRB");
}

TEST(Yield, ComesAfterRowsWhenTheIntervalHasPassed) {
  LoadedHost host(kConsole.Options());
  host.clock.ticksPerReading = 4;
  host.clock.nanosecondsPerReading = 4'000'000;
  // Five rows, each reading the clock once, or twice if it yields: 4 units pass between two readings.
  for (std::size_t i = 0; i < kPictureMethods; ++i) {
    const Method& method = host.all[i];
    SCOPED_TRACE(method.name);
    for (const auto& [interval, count] :
         {std::pair{4, 5}, {5, 3}, {8, 3}, {12, 2}, {500, 1}, {2'000'000'000, 0}}) {
      EXPECT_EQ(count, YieldsOf(host, method, interval)) << interval << " ticks";
      EXPECT_EQ(count, YieldsOf(host, method, -interval)) << interval << " milliseconds";
    }
    EXPECT_EQ(0, YieldsOf(host, method, 0));
    EXPECT_EQ(5, YieldsOf(host, method, 1, 0)) << "without pixels";
  }
  host.clock.ticks = 4;
  EXPECT_EQ(5, YieldsOf(host, host.all[0], 4)) << "the first interval is counted from 0";
}

/// What the application does each time it gets control in the middle of a copy.
enum class Action { kCallSameMethod, kCallOtherMethods, kChangePicture, kDropPictures };
constexpr Action kActions[] = {Action::kCallSameMethod, Action::kCallOtherMethods, Action::kChangePicture,
                               Action::kDropPictures};
constexpr Size kCopied = {5, 4};

/// Copies, and gives how often the application got control.
int RunWith(Action action, const HostCase& hostCase, std::size_t number) {
  LoadedHost host(hostCase.Options());
  const Method& method = host.all[number];
  CallSpec spec = GoodCall(hostCase, kCopied);
  Call call(host, method, spec);
  spec.integers["Yield"] = 0;  // what is called meanwhile is not interrupted
  const auto callMeanwhile = [&](const Method& other) {
    const devhost::Balance before = host.CurrentBalance();
    EXPECT_EQ(method.Has("MaskForAlpha") ? 2 : 1, before.descriptionLocks);
    EXPECT_EQ("", Call(host, other, spec).Run()) << other.name;
    call.straysMeanwhile += host.CurrentBalance().strayUnlocks - before.strayUnlocks;
  };
  std::int32_t yields = 0;
  host.clock.ticksPerReading = 1;
  host.onYield = [&] {
    ++yields;
    if (action == Action::kCallSameMethod) {
      callMeanwhile(method);
    } else if (action == Action::kCallOtherMethods) {
      // Each time others, in the end all 50.
      for (auto i = static_cast<std::size_t>(yields - 1); i < host.all.size(); i += kCopied.height) {
        callMeanwhile(host.all[i]);
      }
    } else if (action == Action::kChangePicture) {
      const auto other = host.NewPicture(kCopied.width, kCopied.height, hostCase.readFrom);
      FillWithNoise(*other, static_cast<std::uint64_t>(yields));
      call.ChangePicture(*other, yields, !hostCase.ReadsThroughCopies());
    } else {
      call.DropPictures();
    }
  };
  EXPECT_EQ("", call.Run());
  return yields;
}

TEST(Yield, LetsTheHostDoAnythingMeanwhile) {
  int reentries = 0;
  for (const HostCase& hostCase :
       {kDesktop, kDesktop24, kDesktop16, kDesktopBitmap, kConsole, kWeb, kUnknown}) {
    for (std::size_t method = 0; method < kPictureMethods; ++method) {
      for (const Action action : kActions) {
        SCOPED_TRACE(testing::Message()
                     << hostCase.name << ", method " << method << ", action " << static_cast<int>(action));
        const int yields = RunWith(action, hostCase, method);
        EXPECT_EQ(kCopied.height, yields);
        reentries += yields;
      }
    }
  }
  Figure("reentry")
      .Add("reentries", reentries)
      .Add("methods", kPictureMethods)
      .Add("actions", std::size(kActions))
      .Add("failures", HasFailure() ? 1 : 0);
}

}  // namespace
}  // namespace tests
