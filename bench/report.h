// What a run has found, as tables.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/turns.h"

namespace bench {

/// Lines of cells. The first line is the head; all but the first column are numbers.
using Table = std::vector<std::vector<std::string>>;

struct Result {
  Case one;
  std::vector<Timing> timings;  // the plug-in's first

  double Seconds() const { return timings.front().seconds; }
  /// Null if no such contestant took part.
  const Timing* Fastest(Role role) const;
  /// How many times as fast as the fastest of `role` the plug-in is.
  std::optional<double> Times(Role role) const;
};

/// The machine, and the plug-in beside memcpy and the peers.
void WriteTables(const std::vector<Result>& results, std::ostream& page);

/// The plug-in beside the other one, and where it is slower.
void WriteComparison(const std::vector<Result>& results, std::ostream& page);

/// "0.97", "11", or "–" for no number.
std::string Number(std::optional<double> number);

void WriteTable(const Table& table, std::ostream& page);

}  // namespace bench
