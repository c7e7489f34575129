// The checks of a plug-in: each has a name, a sentence, and a process of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "rastel-host/form.h"
#include "rastel-host/session.h"

namespace devhost::program {

/// One run of one check.
class Trial {
 public:
  Trial(const HostSettings& settings, std::uint64_t seed) : host(settings), noise(seed) {}

  /// Counts a case; one that is not `good` is a finding, told at once.
  void Expect(bool good, const std::string& finding);
  void Expect(const std::vector<std::string>& findings);  // a case that is good if there are none

  int cases() const { return cases_; }
  int findings() const { return findings_; }

  HostSettings host;
  Noise noise;
  std::string where;  // precedes a finding: which case it is about

 private:
  int cases_ = 0;
  int findings_ = 0;
};

struct Check {
  std::string name;
  std::string sentence;
  std::function<void(Trial&)> run;
  std::optional<int> pixelType = {};  // the one that it is about
};

/// Every check there is, whatever the plug-in.
std::vector<Check> AllChecks();

/// Its parts.
void AddContracts(std::vector<Check>& checks);
void AddRobustness(std::vector<Check>& checks);

}  // namespace devhost::program
