#include "bench/turns.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <random>

namespace bench {
namespace {

void TakeTurn(Contestant& contestant, int calls) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  for (int call = 0; call < calls; ++call) {
    contestant.run();
  }
  const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
  contestant.secondsOfAll += seconds;
  contestant.seconds = std::min(contestant.seconds, seconds / calls);
}

/// As many calls as fit in a millisecond, at least one.
void TakeNextTurn(Contestant* contestant) {
  const int calls = static_cast<int>(std::max(1.0, 1e-3 / contestant->seconds));
  if (calls > 1) {
    contestant->run();  // what fits the caches is in them
  }
  TakeTurn(*contestant, calls);
}

}  // namespace

void TakeFirstTurn(Contestant& contestant) {
  contestant.seconds = std::numeric_limits<double>::max();
  TakeTurn(contestant, 1);
}

void TakeTurns(std::vector<Contestant>& contestants) {
  std::vector<Contestant*> players;
  for (Contestant& contestant : contestants) {
    players.push_back(&contestant);
  }
  std::minstd_rand random(1);
  while (!players.empty()) {
    std::ranges::shuffle(players, random);
    std::ranges::for_each(players, TakeNextTurn);
    std::erase_if(players, [](const Contestant* player) { return player->secondsOfAll > 0.2; });
  }
}

}  // namespace bench
