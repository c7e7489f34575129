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

TEST(Yield, WithoutTheEntryOnlyReadsTheClock) {
  devhost::HostOptions options = kConsole.Options();
  options.without.insert("REALYieldToRB");
  LoadedHost host(options);
  host.clock.ticksPerReading = 4;
  EXPECT_EQ(0, YieldsOf(host, host.all[0], 5));
  EXPECT_EQ(5 + 3, CountCalls(host, "TickCount"));
}

/// A copy in the middle of which the application does something.
class Reentry {
 public:
  static constexpr std::int32_t kHeight = 4;

  Reentry(const HostCase& hostCase, std::size_t method)
      : hostCase_(hostCase),
        host_(hostCase.Options()),
        method_(host_.all[method]),
        call_(host_, method_, Spec(1)) {}

  /// What the application does in the middle.
  using Action = void (Reentry::*)();

  /// Copies, does `action` each time the host gets control, and gives how often it got it.
  int Run(Action action) {
    host_.clock.ticksPerReading = 1;
    host_.onYield = [&] {
      ++yields_;
      const auto again = std::exchange(host_.onYield, nullptr);  // what is done meanwhile is not interrupted
      (this->*action)();
      host_.onYield = yields_ < kHeight ? again : nullptr;
    };
    EXPECT_EQ("", call_.Run());
    return yields_;
  }

  void CallSameMethod() { CallMethod(method_); }

  /// Each time others, in the end all 50.
  void CallOtherMethods() {
    for (std::size_t i = static_cast<std::size_t>(yields_ - 1); i < host_.all.size(); i += kHeight) {
      CallMethod(host_.all[i]);
    }
  }

  /// From now on the picture has another one's pixels.
  void ChangePicture() {
    const auto other = host_.NewPicture(kWidth, kHeight, hostCase_.readFrom);
    FillWithNoise(*other, static_cast<std::uint64_t>(yields_));
    call_.ChangePicture(*other, yields_, !hostCase_.ReadsThroughCopies());
  }

  /// The application forgets the picture and the mask that are being read.
  void DropPictures() { call_.DropPictures(); }

 private:
  static constexpr std::int32_t kWidth = 5;

  CallSpec Spec(std::int32_t yield) const {
    CallSpec spec = GoodCall(hostCase_, {kWidth, kHeight});
    spec.integers["Yield"] = yield;
    return spec;
  }

  void CallMethod(const Method& method) {
    const devhost::Balance before = host_.CurrentBalance();
    EXPECT_EQ(method_.Has("MaskForAlpha") ? 2 : 1, before.descriptionLocks);
    EXPECT_EQ("", Call(host_, method, Spec(0)).Run()) << method.name;
    call_.straysMeanwhile += host_.CurrentBalance().strayUnlocks - before.strayUnlocks;
  }

  const HostCase hostCase_;
  LoadedHost host_;
  const Method& method_;
  Call call_;
  int yields_ = 0;
};

TEST(Yield, LetsTheHostDoAnythingMeanwhile) {
  constexpr Reentry::Action kActions[] = {&Reentry::CallSameMethod, &Reentry::CallOtherMethods,
                                          &Reentry::ChangePicture, &Reentry::DropPictures};
  int reentries = 0;
  std::string where;
  const CrashNote note([&] { return where; });
  for (const HostCase& hostCase :
       {kDesktop, kDesktop24, kDesktop16, kDesktopBitmap, kConsole, kWeb, kUnknown}) {
    for (std::size_t method = 0; method < kPictureMethods; ++method) {
      for (std::size_t action = 0; action < std::size(kActions); ++action) {
        where = std::string(hostCase.name) + ", method " + std::to_string(method) + ", action " +
                std::to_string(action);
        SCOPED_TRACE(where);
        const int yields = Reentry(hostCase, method).Run(kActions[action]);
        EXPECT_EQ(Reentry::kHeight, yields);
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
