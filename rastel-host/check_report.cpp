#include "rastel-host/check_report.h"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "rastel-host/report.h"

namespace devhost::program {
namespace {

std::string VerdictText(const Result& result) {
  constexpr const char* kTexts[] = {"good", "finding", "crash", "timeout"};
  return kTexts[static_cast<std::size_t>(result.verdict)];
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

}  // namespace

int Count(const std::vector<Result>& results, Verdict verdict) {
  return static_cast<int>(std::ranges::count(results, verdict, &Result::verdict));
}

void Tell(const Result& result) {
  if (result.verdict == Verdict::kGood) {
    SayStep("good " + result.check->name + " (" + std::to_string(result.cases) + " cases)");
    return;
  }
  std::cout << Bad(VerdictText(result)) << ' ' << result.check->name << ": " << result.check->sentence
            << '\n';
  for (const std::string& finding : result.findings) {
    std::cout << "  " << finding << '\n';
  }
  std::cout << "  repeat: " << result.repeat << std::endl;
}

std::string JUnit(const std::vector<Result>& results) {
  std::ostringstream xml;
  xml << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuite name=\"rastel-host check\" tests=\""
      << results.size() << "\" failures=\"" << Count(results, Verdict::kFinding) << "\" errors=\""
      << Count(results, Verdict::kCrash) + Count(results, Verdict::kTimeout) << "\">\n";
  for (const Result& result : results) {
    const std::string& name = result.check->name;
    xml << "  <testcase classname=\"" << name.substr(0, name.find('/')) << "\" name=\"" << EscapeXml(name)
        << "\" time=\"" << result.seconds << "\">";
    if (result.verdict != Verdict::kGood) {
      const char* element = result.verdict == Verdict::kFinding ? "failure" : "error";
      xml << "\n    <" << element << " message=\"" << VerdictText(result) << "\">"
          << EscapeXml(Joined(result.findings) + "repeat: " + result.repeat) << "</" << element << ">\n  ";
    }
    xml << "</testcase>\n";
  }
  xml << "</testsuite>\n";
  return xml.str();
}

void TellAsJson(std::uint64_t seed, const std::vector<Result>& results) {
  Datum::List records;
  for (const Result& result : results) {
    records.emplace_back(Datum::Record{{"name", result.check->name},
                                       {"sentence", result.check->sentence},
                                       {"verdict", VerdictText(result)},
                                       {"cases", result.cases},
                                       {"seconds", result.seconds},
                                       {"findings", ListOf(result.findings)},
                                       {"repeat", result.repeat}});
  }
  PrintJson("check", {{"seed", static_cast<std::int64_t>(seed)},
                      {"good", Count(results, Verdict::kGood)},
                      {"findings", Count(results, Verdict::kFinding)},
                      {"crashes", Count(results, Verdict::kCrash)},
                      {"timeouts", Count(results, Verdict::kTimeout)},
                      {"checks", records}});
}

void TellList(const std::vector<Check>& checks, bool json) {
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

void TellSummary(const std::vector<Result>& results, double seconds) {
  int cases = 0;
  for (const Result& result : results) {
    cases += result.cases;
  }
  const bool allGood = Count(results, Verdict::kGood) == static_cast<int>(results.size());
  std::cout << results.size() << " checks, " << cases << " cases, " << std::fixed << std::setprecision(1)
            << seconds << " s: " << (allGood ? Good("all good") : Bad("NOT good")) << " ("
            << Count(results, Verdict::kGood) << " good, " << Count(results, Verdict::kFinding)
            << " with findings, " << Count(results, Verdict::kCrash) << " crashed, "
            << Count(results, Verdict::kTimeout) << " timed out)\n";
}

}  // namespace devhost::program
