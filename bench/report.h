// What a run has found, as tables.
#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/targets.h"
#include "bench/turns.h"

namespace bench {

struct Result {
  Case one;
  double traffic;               // bytes
  std::vector<Timing> timings;  // the plug-in's first

  double Seconds() const { return timings.front().seconds; }
  /// Null if no such contestant took part.
  const Timing* Fastest(Role role) const;
  /// How many times as fast as the fastest of `role` the plug-in is.
  std::optional<double> Times(Role role) const;
};

class Report {
 public:
  explicit Report(std::vector<Result> results) : results_(std::move(results)) {}

  /// The machine, and the plug-in beside memcpy and the peers.
  void WriteTables(std::ostream& page) const;

  /// The plug-in beside the other one, and where it is slower.
  void WriteComparison(std::ostream& page) const;

 private:
  using Figure = std::function<std::optional<double>(const Result&)>;
  struct Column {
    std::string name;
    const Size* size;
    Figure figure;
  };

  void WriteFamilies(std::ostream& page, const std::vector<Column>& columns, bool withPeers) const;
  void WriteSlowerCases(std::ostream& page, Role role) const;

  std::vector<Result> results_;
};

void WriteTargets(const std::vector<TargetsResult>& results, std::ostream& page);

}  // namespace bench
