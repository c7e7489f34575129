// Measuring by turns.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

enum class Role : unsigned char { kPlugin, kOtherPlugin, kMemcpy, kPeer, kLoop, kTarget };

struct Timing {
  Role role;
  std::string name;
  bool hasSameBytes;   // as the plug-in; others only read and write the same memory
  double seconds = 0;  // the least time that one call took
};

struct Contestant : Timing {
  Contestant(Role itsRole, std::string itsName, std::function<void()> itsRun, bool makesSameBytes = true)
      : Timing{itsRole, std::move(itsName), makesSameBytes}, run(std::move(itsRun)) {}

  std::function<void()> run;
  double secondsOfAll = 0;  // of all turns
};

/// Runs `contestant` once and takes the time.
void TakeFirstTurn(Contestant& contestant);

/// Everyone takes a turn in each round, in an order that changes, until each has had a fifth of a second. All
/// have taken their first turn.
void TakeTurns(std::vector<Contestant>& contestants);

}  // namespace bench
