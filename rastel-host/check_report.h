// How what the checks found is told.
#pragma once

#include <string>
#include <vector>

#include "rastel-host/check.h"

namespace devhost::program {

enum class Verdict { kGood, kFinding, kCrash, kTimeout };

struct Result {
  const Check* check;
  Verdict verdict = Verdict::kGood;
  int cases = 0;
  double seconds = 0;
  std::vector<std::string> findings;  // lines of its output
  std::string repeat;                 // the command that repeats it; empty if it is good
};

/// How many of the results have the verdict.
int Count(const std::vector<Result>& results, Verdict verdict);

/// One result: what is not good as a result, what is good as a step.
void Tell(const Result& result);

/// The last line, of all that ran in `seconds`.
void TellSummary(const std::vector<Result>& results, double seconds);

void TellAsJson(std::uint64_t seed, const std::vector<Result>& results);

/// Names and sentences.
void TellList(const std::vector<Check>& checks, bool json);

/// The XML report that build servers read.
std::string JUnit(const std::vector<Result>& results);

}  // namespace devhost::program
