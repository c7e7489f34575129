#include "rastel-host/check.h"

#include <fnmatch.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "devhost/nearest.h"
#include "rastel-host/check_report.h"
#include "rastel-host/child.h"
#include "rastel-host/failure.h"
#include "rastel-host/report.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

/// Begins the last line of a run that came to its end.
constexpr std::string_view kCases = "cases ";
constexpr int kMostFindingsTold = 5;

bool Fits(const Check& check, const HostSettings& host) {
  const bool otherType = check.pixelType && host.pixelType && *check.pixelType != *host.pixelType;
  const bool otherKind =
      check.pixelType && host.kind && (*host.kind == Kind::kDesktop) == (*check.pixelType == 8);
  return !otherType && !otherKind;
}

/// The checks that a glob matches, or all. Throws Failure (kUsage) if a glob matches none, or none is left.
std::vector<Check> Choose(const CheckOptions& options) {
  auto checks = AllChecks();
  std::vector<std::string> names;
  for (const Check& check : checks) {
    names.push_back(check.name);
  }
  const auto matches = [](const std::string& glob, const std::string& name) {
    return fnmatch(glob.c_str(), name.c_str(), 0) == 0;
  };
  for (const std::string& glob : options.globs) {
    if (std::ranges::none_of(names, [&](const std::string& name) { return matches(glob, name); })) {
      throw Failure(Status::kUsage, "check: no check is called '" + glob + "'" + Nearest(glob, names) +
                                        " (--list tells all)");
    }
  }
  std::erase_if(checks, [&](const Check& check) {
    const bool chosen = std::ranges::any_of(
        options.globs, [&](const std::string& glob) { return matches(glob, check.name); });
    return !Fits(check, options.common.host) || (!options.globs.empty() && !chosen);
  });
  if (checks.empty()) {
    throw Failure(Status::kUsage, "check: no check is left that fits this host");
  }
  return checks;
}

/// Runs a check in this process, tells its findings on standard output, and then that it came to its end.
Status RunHere(const Check& check, const CheckOptions& options) {
  std::uint64_t seed = options.seed;
  for (const char letter : check.name) {
    seed = seed * 31 + static_cast<unsigned char>(letter);  // so that checks differ in what they try
  }
  Trial trial(options.common.host, seed);
  try {
    check.run(trial);
  } catch (const std::exception& error) {
    trial.Expect(false, error.what());
  }
  if (trial.cases() == 0) {
    trial.Expect(false, "nothing was compared");
  }
  std::cout << kCases << trial.cases() << std::endl;
  return trial.findings() == 0 ? Status::kGood : Status::kFindings;
}

/// Throws Failure if the plug-in cannot be loaded at all.
void TryToLoad(const CheckOptions& options) {
  ChildEnd end;
  RunInChildren(
      {1, 1, options.timeout},
      [&](std::size_t) {
        try {
          OpenHost(options.common.host);
        } catch (const Failure& failure) {
          std::cout << failure.what();
          return static_cast<int>(failure.status);
        } catch (const HostFault&) {
          // Some check may get on with it.
        }
        return 0;
      },
      [&](std::size_t, const ChildEnd& loaded) { end = loaded; });
  if (end.timedOut || end.signal != 0) {
    throw Failure(Status::kCrash, "the plug-in " +
                                      (end.timedOut ? "hangs" : "ends with " + SignalName(end.signal)) +
                                      " while it is loaded");
  }
  if (end.status != 0) {
    throw Failure(static_cast<Status>(end.status), end.output);
  }
}

Result Judge(const Check& check, const ChildEnd& end, const CheckOptions& options) {
  Result result{&check, Verdict::kGood, 0, end.seconds, {}, {}};
  bool isComplete = false;
  std::istringstream lines(end.output);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(kCases)) {
      isComplete = true;
      result.cases = std::atoi(line.c_str() + kCases.size());
    } else {
      result.findings.push_back(line);
    }
  }
  if (end.timedOut) {
    result.verdict = Verdict::kTimeout;
    result.findings.push_back("took longer than " + std::to_string(options.timeout) + " seconds");
  } else if (end.signal != 0) {
    result.verdict = Verdict::kCrash;
    result.findings.push_back("ended by " + SignalName(end.signal));
  } else if (end.status != 0 || !isComplete || !result.findings.empty()) {
    result.verdict = Verdict::kFinding;
    if (!isComplete) {
      result.findings.push_back("the process ended before the check did");
    }
  }
  if (result.verdict != Verdict::kGood) {
    result.repeat = "gdb --args " + options.program + " check '" + check.name + "' --in-process --seed " +
                    std::to_string(options.seed) + WordsOf(options.common.host);
  }
  return result;
}

Status RunInThisProcess(const std::vector<Check>& checks, const CheckOptions& options) {
  Status status = Status::kGood;
  for (const Check& check : checks) {
    std::cout << check.name << ": " << check.sentence << std::endl;
    if (RunHere(check, options) != Status::kGood) {
      status = Status::kFindings;
    }
  }
  return status;
}

}  // namespace

void Trial::Expect(bool good, const std::string& finding) {
  ++cases_;
  if (!good && ++findings_ <= kMostFindingsTold) {
    std::cout << where << finding << std::endl;
  }
}

void Trial::Expect(const std::vector<std::string>& findings) {
  Expect(findings.empty(), findings.empty() ? "" : findings.front());
}

std::vector<Check> AllChecks() {
  std::vector<Check> checks;
  AddRobustness(checks);
  AddContracts(checks);
  return checks;
}

Status RunCheck(CheckOptions options) {
  const auto checks = Choose(options);
  if (options.list) {
    TellList(checks, options.common.json);
    return Status::kGood;
  }
  options.common.host.plugin = std::filesystem::absolute(PluginPath(options.common.host)).string();
  if (options.inProcess) {
    return RunInThisProcess(checks, options);
  }
  TryToLoad(options);
  const auto start = std::chrono::steady_clock::now();
  std::vector<Result> results(checks.size());
  std::size_t ended = 0;
  {
    const Progress progress("checking");
    RunInChildren(
        {checks.size(), options.jobs, options.timeout},
        [&](std::size_t i) { return static_cast<int>(RunHere(checks[i], options)); },
        [&](std::size_t i, const ChildEnd& end) {
          results[i] = Judge(checks[i], end, options);
          progress.Show(++ended, checks.size());
        });
  }
  if (options.common.json) {
    TellAsJson(options.seed, results);
  } else {
    std::ranges::for_each(results, Tell);
    TellSummary(results, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  if (options.junit) {
    const std::string xml = JUnit(results);
    WriteBytes(*options.junit, {xml.begin(), xml.end()});
  }
  const bool isBroken = Count(results, Verdict::kCrash) + Count(results, Verdict::kTimeout) > 0;
  return isBroken                                ? Status::kCrash
         : Count(results, Verdict::kFinding) > 0 ? Status::kFindings
                                                 : Status::kGood;
}

}  // namespace devhost::program
