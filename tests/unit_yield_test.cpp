// When the host gets control, at the edges of its clocks.
#include <limits>

#include "host/yield.h"
#include "unit_host.h"

namespace tests {
namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();

struct Moment {
  std::int32_t yield, lastYield;
  std::uint64_t now;  // ticks or nanoseconds
  bool yields;
  std::int32_t newLastYield;
};

void Check(const Moment& moment) {
  SCOPED_TRACE(testing::Message() << moment.yield << " since " << moment.lastYield << " at " << moment.now);
  LinkedHost host;
  host.clock.ticks = static_cast<std::uint32_t>(moment.now);
  host.clock.nanoseconds = moment.now;
  rastel::YieldData data{moment.yield, moment.lastYield};
  data.DoYield();
  EXPECT_EQ(moment.yields ? 1 : 0, CountCalls(host, "REALYieldToRB"));
  EXPECT_EQ(moment.yields ? moment.newLastYield : moment.lastYield, data.LastYield);
}

TEST(DoYield, CountsTicks) {
  for (const Moment& moment : {Moment{10, 0, 1000, true, 1000},
                               {10, 991, 1000, false, 0},
                               {10, 990, 1000, true, 1000},
                               {10, 1010, 1000, true, 1000},
                               {10, 1009, 1000, false, 0},
                               {15, -10, 5, true, 5},
                               {16, -10, 5, false, 0},
                               {1, 1000, 1000, false, 0},
                               {1, 0, 0x80000000, false, 0},
                               {1, 1, 0x80000000, true, kLowest},
                               {kHighest, 1, 0x80000000, true, kLowest},
                               {1, kHighest, 0xFFFFFFFF, false, 0},
                               {1, 3, 0xFFFFFFFF, true, -1}}) {
    Check(moment);
  }
}

TEST(DoYield, CountsMilliseconds) {
  constexpr std::uint64_t kMillisecond = 1'000'000;
  for (const Moment& moment : {Moment{-10, 0, 1000 * kMillisecond, true, 1000},
                               {-10, 990, 1000 * kMillisecond, true, 1000},
                               {-10, 990, 1000 * kMillisecond - 1, false, 0},
                               {-10, 1010, 1000 * kMillisecond, true, 1000},
                               {-1, 0, kHighest * kMillisecond + 999'999, true, kHighest},
                               {-1, 0, (std::uint64_t{1} << 31) * kMillisecond, false, 0},
                               {-1, 1, (std::uint64_t{1} << 31) * kMillisecond, true, kLowest},
                               {-1, 1, std::numeric_limits<std::uint64_t>::max() / 3, true, kLowest},
                               {kLowest, 1, (std::uint64_t{1} << 31) * kMillisecond, false, 0},
                               {kLowest + 1, 1, (std::uint64_t{1} << 31) * kMillisecond, true, kLowest},
                               {0, 0, 0, true, 0}}) {
    Check(moment);
  }
}

TEST(DoYield, RemembersTheTimeAfterTheHostHadControl) {
  LinkedHost host;
  host.onYield = [&] { host.clock.ticks += 50; };
  rastel::YieldData data{20, 0};
  data.DoYield();
  EXPECT_EQ(1050, data.LastYield);
  data.DoYield();
  EXPECT_EQ(1, CountCalls(host, "REALYieldToRB"));
}

TEST(DoYield, RemembersTheTimeAlsoWithoutTheEntry) {
  LinkedHost host(OptionsFor(2013.04, {"REALYieldToRB"}));
  rastel::YieldData data{20, 0};
  data.DoYield();
  EXPECT_EQ(1000, data.LastYield);
}

}  // namespace
}  // namespace tests
