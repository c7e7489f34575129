// Measuring by turns.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

enum class Role : unsigned char { kPlugin, kOtherPlugin, kMemcpy, kPeer, kLoop, kTarget };

/// The least time that one call took.
struct Timing {
  Role role;
  std::string name;
  bool hasSameBytes;  // as the plug-in
  double seconds = 0;
};

struct Contestant : Timing {
  /// `isChecked`: it is to make the bytes that the plug-in makes; others only read and write the same memory.
  Contestant(Role itsRole, std::string itsName, std::function<void()> itsRun, bool isChecked = true)
      : Timing{itsRole, std::move(itsName), isChecked}, run(std::move(itsRun)) {}

  std::function<void()> run;
};

/// Runs `contestant` once and takes the time.
void TakeFirstTurn(Contestant& contestant);

/// Everyone takes a turn in each round, in an order that changes, until each has had a fifth of a second. All
/// have taken their first turn.
void TakeTurns(std::vector<Contestant>& contestants);

}  // namespace bench
