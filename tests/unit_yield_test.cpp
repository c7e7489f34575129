// When the host gets control, at the edges of its clocks.
#include <limits>

#include "host/yield.h"
#include "unit_host.h"

namespace tests {
namespace {

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
constexpr std::uint64_t kMillisecond = 1'000'000;
constexpr std::uint64_t kOverflow = (std::uint64_t{1} << 31) * kMillisecond;

struct Moment {
  std::int32_t yield, lastYield;
  std::uint64_t now;  // ticks, or nanoseconds where `yield` is below 1
  bool yields;
  std::int32_t newLastYield;
};

TEST(DoYield, CountsTicksAndMilliseconds) {
  for (const Moment& moment : {Moment{10, 991, 1000, false, 991},
                               {10, 990, 1000, true, 1000},
                               {10, 1010, 1000, true, 1000},
                               {10, 1009, 1000, false, 1009},
                               {15, -10, 5, true, 5},
                               {16, -10, 5, false, -10},
                               {1, 0, 0x80000000, false, 0},
                               {kHighest, 1, 0x80000000, true, kLowest},
                               {1, kHighest, 0xFFFFFFFF, false, kHighest},
                               {-10, 990, 1000 * kMillisecond, true, 1000},
                               {-10, 990, 1000 * kMillisecond - 1, false, 990},
                               {-1, 0, kOverflow - 1, true, kHighest},
                               {-1, 0, kOverflow, false, 0},
                               {-1, 1, std::numeric_limits<std::uint64_t>::max() / 3, true, kLowest},
                               {kLowest, 1, kOverflow, false, 1},
                               {kLowest + 1, 1, kOverflow, true, kLowest}}) {
    SCOPED_TRACE(testing::Message() << moment.yield << " since " << moment.lastYield << " at " << moment.now);
    LinkedHost host;
    host.clock.ticks = static_cast<std::uint32_t>(moment.now);
    host.clock.nanoseconds = moment.now;
    rastel::YieldData data{moment.yield, moment.lastYield};
    data.DoYield();
    EXPECT_EQ(moment.yields ? 1 : 0, CountCalls(host, "REALYieldToRB"));
    EXPECT_EQ(moment.newLastYield, data.LastYield);
  }
}

TEST(DoYield, RemembersTheTimeAfterTheHostHadControl) {
  LinkedHost host;
  host.onYield = [&] { host.clock.ticks += 50; };
  rastel::YieldData data{20, 0};
  data.DoYield();
  EXPECT_EQ(1050, data.LastYield);
}

}  // namespace
}  // namespace tests
