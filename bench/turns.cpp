#include "bench/turns.h"

#include <algorithm>
#include <chrono>
#include <random>

namespace bench {
namespace {

/// A turn is as many calls as fit in it, at least one.
constexpr double kSecondsOfATurn = 1e-3;

constexpr double kSecondsOfAll = 0.2;

/// One whose turns are not over.
struct Player {
  Contestant* contestant;
  int calls;
  double secondsLeft;
};

double SecondsOf(const Contestant& contestant, int calls) {
  using Clock = std::chrono::steady_clock;
  const auto start = Clock::now();
  for (int call = 0; call < calls; ++call) {
    contestant.run();
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

void TakeTurn(Player& player) {
  Contestant& contestant = *player.contestant;
  if (player.calls > 1) {
    contestant.run();  // what fits the caches is in them
  }
  const double seconds = SecondsOf(contestant, player.calls);
  player.secondsLeft -= seconds;
  contestant.seconds = std::min(contestant.seconds, seconds / player.calls);
}

}  // namespace

void TakeFirstTurn(Contestant& contestant) {
  contestant.seconds = SecondsOf(contestant, 1);
}

void TakeTurns(std::vector<Contestant>& contestants) {
  std::vector<Player> players;
  for (Contestant& contestant : contestants) {
    const int calls = static_cast<int>(std::max(1.0, kSecondsOfATurn / contestant.seconds));
    players.push_back({&contestant, calls, kSecondsOfAll - contestant.seconds});
  }
  std::minstd_rand random(1);
  while (!players.empty()) {
    std::erase_if(players, [](const Player& player) { return player.secondsLeft < 0; });
    std::ranges::shuffle(players, random);
    std::ranges::for_each(players, TakeTurn);
  }
}

}  // namespace bench
