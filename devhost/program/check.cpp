#include "devhost/program/check.h"

#include <fnmatch.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>

#include "devhost/nearest.h"
#include "devhost/program/child.h"
#include "devhost/program/failure.h"
#include "devhost/program/report.h"
#include "devhost/program/verbs.h"

namespace devhost::program {
namespace {

/// Begins the last line of a run that came to its end.
constexpr std::string_view kCases = "cases ";
constexpr int kMostFindingsTold = 5;

enum class Verdict { kGood, kFinding, kCrash, kTimeout };
constexpr const char* kVerdicts[] = {"good", "finding", "crash", "timeout"};

struct Result {
  const Check* check;
  Verdict verdict = Verdict::kGood;
  int cases = 0;
  double seconds = 0;
  std::vector<std::string> findings;  // lines of its output
  std::string repeat;                 // the command that repeats it; empty if it is good

  std::string VerdictText() const { return kVerdicts[static_cast<std::size_t>(verdict)]; }
};

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
        } catch (const HostException&) {
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

void Tell(const Result& result) {
  if (result.verdict == Verdict::kGood) {
    SayStep("good " + result.check->name + " (" + std::to_string(result.cases) + " cases)");
    return;
  }
  std::cout << Bad(result.VerdictText()) << ' ' << result.check->name << ": " << result.check->sentence
            << '\n';
  for (const std::string& finding : result.findings) {
    std::cout << "  " << finding << '\n';
  }
  std::cout << "  repeat: " << result.repeat << std::endl;
}

std::string EscapeXml(const std::string& text) {
  std::string escaped;
  for (const char letter : text) {
    const bool isControl = static_cast<unsigned char>(letter) < ' ' && letter != '\n';
    escaped += letter == '<'   ? "&lt;"
               : letter == '&' ? "&amp;"
               : letter == '"' ? "&quot;"
               : isControl     ? "?"
                               : std::string(1, letter);
  }
  return escaped;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}

std::string JUnit(const std::vector<Result>& results, std::map<Verdict, int>& counts) {
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"rastel-host check\" tests=\""
      << results.size() << "\" failures=\"" << counts[Verdict::kFinding] << "\" errors=\""
      << counts[Verdict::kCrash] + counts[Verdict::kTimeout] << "\">\n";
  for (const Result& result : results) {
    const std::string& name = result.check->name;
    xml << "  <testcase classname=\"" << name.substr(0, name.find('/')) << "\" name=\"" << EscapeXml(name)
        << "\" time=\"" << result.seconds << "\">";
    if (result.verdict != Verdict::kGood) {
      const char* element = result.verdict == Verdict::kFinding ? "failure" : "error";
      xml << "\n    <" << element << " message=\"" << result.VerdictText() << "\">"
          << EscapeXml(Joined(result.findings) + "repeat: " + result.repeat) << "</" << element << ">\n  ";
    }
    xml << "</testcase>\n";
  }
  xml << "</testsuite>\n";
  return xml.str();
}

void PrintAsJson(const CheckOptions& options, const std::vector<Result>& results,
                 std::map<Verdict, int>& counts) {
  Datum::List records;
  for (const Result& result : results) {
    records.emplace_back(Datum::Record{{"name", result.check->name},
                                       {"sentence", result.check->sentence},
                                       {"verdict", result.VerdictText()},
                                       {"cases", result.cases},
                                       {"seconds", result.seconds},
                                       {"findings", ListOf(result.findings)},
                                       {"repeat", result.repeat}});
  }
  PrintJson("check", {{"seed", static_cast<std::int64_t>(options.seed)},
                      {"good", counts[Verdict::kGood]},
                      {"findings", counts[Verdict::kFinding]},
                      {"crashes", counts[Verdict::kCrash]},
                      {"timeouts", counts[Verdict::kTimeout]},
                      {"checks", records}});
}

void PrintList(const std::vector<Check>& checks, bool json) {
  Datum::List records;
  for (const Check& check : checks) {
    records.emplace_back(Datum::Record{{"name", check.name}, {"sentence", check.sentence}});
    if (!json) {
      std::cout << std::left << std::setw(54) << check.name << ' ' << check.sentence << '\n';
    }
  }
  if (json) {
    PrintJson("check", {{"checks", records}});
  }
}

void PrintSummary(const std::vector<Result>& results, std::map<Verdict, int>& counts, double seconds) {
  int cases = 0;
  for (const Result& result : results) {
    cases += result.cases;
  }
  const bool allGood = counts[Verdict::kGood] == static_cast<int>(results.size());
  std::cout << results.size() << " checks, " << cases << " cases, " << std::fixed << std::setprecision(1)
            << seconds << " s: " << (allGood ? Good("all good") : Bad("NOT good")) << " ("
            << counts[Verdict::kGood] << " good, " << counts[Verdict::kFinding] << " with findings, "
            << counts[Verdict::kCrash] << " crashed, " << counts[Verdict::kTimeout] << " timed out)\n";
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
    PrintList(checks, options.common.json);
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
  std::map<Verdict, int> counts;
  for (const Result& result : results) {
    ++counts[result.verdict];
    if (!options.common.json) {
      Tell(result);
    }
  }
  if (options.common.json) {
    PrintAsJson(options, results, counts);
  } else {
    PrintSummary(results, counts,
                 std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  if (options.junit) {
    const std::string xml = JUnit(results, counts);
    WriteBytes(*options.junit, {xml.begin(), xml.end()});
  }
  const bool anyEnded = counts[Verdict::kCrash] + counts[Verdict::kTimeout] > 0;
  return anyEnded ? Status::kCrash : counts[Verdict::kFinding] > 0 ? Status::kFindings : Status::kGood;
}

}  // namespace devhost::program
