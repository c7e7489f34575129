// What a run has found, as a page, as data for plots, and as one line.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "bench/cases.h"
#include "bench/stage.h"

namespace bench {

/// The least time that one call of a contestant took, in seconds.
struct Timing {
  Role role;
  std::string name;
  bool hasSameBytes;
  double seconds;
};

struct Result {
  Case one;
  double traffic;  // bytes
  std::vector<Timing> timings;

  const Timing& Of(Role role) const;
  /// Null if no library has anything for it.
  const Timing* FastestPeer() const;
  double Share(const Timing& timing) const { return Of(Role::kLimit).seconds / timing.seconds; }
  double Rate() const { return traffic / Of(Role::kPlugin).seconds; }
};

class Report {
 public:
  explicit Report(std::vector<Result> results) : results_(std::move(results)) {}

  /// The tables, by size, and the kernels of all targets.
  void WriteTables(std::ostream& page) const;

  /// The machine and who took part.
  static void WriteConditions(std::ostream& page);

  /// For gnuplot: a family a line, its name and a column for each size that has a limit; geometric means over
  /// the family's cases, of the shares of the limit or of the times the fastest peer.
  void WritePlot(std::ostream& data, bool ofPeer) const;

  std::string ClosingLine() const;

 private:
  /// What a case reached, as a fraction of its goals: 1 is at the goal.
  double Figure(const Result& result) const;
  double Reached(const Result& result) const;
  void WriteTable(std::ostream& page, const Size& size) const;
  void WriteRow(std::ostream& page, const Result& result) const;
  void WriteKernels(std::ostream& page, const Size& size) const;
  double RateAtVga(const Result& result) const;
  double Mean(const char* family, const Size& size, bool ofPeer) const;

  std::vector<Result> results_;
};

}  // namespace bench
