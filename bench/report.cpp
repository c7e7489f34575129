#include "bench/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <ostream>
#include <set>
#include <utility>

#include "pixels/targets.h"

namespace bench {
namespace {

/// Two measurements of the same code are apart by so much.
constexpr double kLevel = 0.95;

std::string Number(std::optional<double> number) {
  char text[32] = "–";
  if (number) {
    std::snprintf(text, sizeof text, *number < 9.95 ? "%.2f" : "%.0f", *number);
  }
  return text;
}

/// "AMD EPYC, kernels of avx2, GNU 12.2.0, 2026-11-25".
std::string Machine() {
  std::ifstream info("/proc/cpuinfo");
  std::string processor = "unnamed processor";
  for (std::string line; std::getline(info, line);) {
    if (line.starts_with("model name")) {
      processor = line.substr(line.find(':') + 2);
    }
  }
  const std::time_t now = std::time(nullptr);
  char date[16];
  std::strftime(date, sizeof date, "%Y-%m-%d", std::gmtime(&now));
  return processor + ", kernels of " + rastel::pixels::BestTarget().name + ", " + RASTEL_COMPILER + ", " +
         date;
}

using Line = std::vector<std::string>;

/// The first of `lines` is the head. All but the first column are numbers.
void WriteTable(const std::vector<Line>& lines, std::ostream& page) {
  std::string rule = "| --- |";
  for (std::size_t i = 1; i < lines.front().size(); ++i) {
    rule += " ---: |";
  }
  rule += "\n";
  page << "\n";
  for (const Line& line : lines) {
    page << "|";
    for (const std::string& cell : line) {
      page << " " << cell << " |";
    }
    page << "\n" << std::exchange(rule, "");
  }
}

using Results = std::vector<const Result*>;

/// Those of a family follow each other.
std::vector<Results> ByFamily(const std::vector<Result>& results) {
  std::vector<Results> families;
  for (const Result& result : results) {
    if (families.empty() || families.back().front()->one.row->family != std::string(result.one.row->family)) {
      families.emplace_back();
    }
    families.back().push_back(&result);
  }
  return families;
}

using Figure = std::function<std::optional<double>(const Result&)>;

/// The geometric mean over the cases that have the figure.
std::optional<double> Mean(const Results& family, const Size& size, const Figure& figure) {
  double sum = 0;
  int count = 0;
  for (const Result* result : family) {
    const auto one = result->one.size == &size ? figure(*result) : std::nullopt;
    sum += one ? std::log(*one) : 0;
    count += one ? 1 : 0;
  }
  return count == 0 ? std::nullopt : std::optional(std::exp(sum / count));
}

/// Those that are the fastest for any case.
std::string FastestPeers(const Results& family) {
  std::set<std::string> names;
  for (const Result* result : family) {
    if (const Timing* peer = result->Fastest(Role::kPeer)) {
      names.insert((peer->hasSameBytes ? "" : "≈ ") + peer->name);
    }
  }
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

Figure TimesOf(Role role) {
  return [role](const Result& result) { return result.Times(role); };
}

/// What is told of each family, at one size.
struct Column {
  std::string name;
  const Size* size;
  Figure figure;
};

void WriteFamilies(const std::vector<Result>& results, const std::vector<Column>& columns, bool withPeers,
                   std::ostream& page) {
  std::vector<Line> lines = {{"conversion"}};
  for (const Column& column : columns) {
    lines.front().push_back(column.name);
  }
  for (const Results& family : ByFamily(results)) {
    Line& line = lines.emplace_back(Line{family.front()->one.row->family});
    for (const Column& column : columns) {
      line.push_back(Number(Mean(family, *column.size, column.figure)));
    }
    if (withPeers) {
      line.push_back(FastestPeers(family));
    }
  }
  if (withPeers) {
    lines.front().emplace_back("fastest peers");
  }
  WriteTable(lines, page);
}

void WriteSlowerCases(const std::vector<Result>& results, Role role, std::ostream& page) {
  page << "\nCases below " << Number(kLevel) << ":\n\n";
  for (const Result& result : results) {
    const auto times = result.Times(role);
    if (times && *times < kLevel) {
      page << "- " << result.one.Name() << ": " << Number(times) << " times " << result.Fastest(role)->name
           << "\n";
    }
  }
}

}  // namespace

const Timing* Result::Fastest(Role role) const {
  const Timing* fastest = nullptr;
  for (const Timing& timing : timings) {
    if (timing.role == role && (fastest == nullptr || timing.seconds < fastest->seconds)) {
      fastest = &timing;
    }
  }
  return fastest;
}

std::optional<double> Result::Times(Role role) const {
  const Timing* fastest = Fastest(role);
  return fastest == nullptr ? std::nullopt : std::optional(fastest->seconds / Seconds());
}

void WriteTables(const std::vector<Result>& results, std::ostream& page) {
  std::vector<Column> besideOthers;
  std::vector<Column> alone;
  for (const auto& [text, role] :
       {std::pair("share of memcpy, ", Role::kMemcpy), {"× fastest peer, ", Role::kPeer}}) {
    for (const Size& size : Sizes()) {
      if (size.isComparedWithOthers) {
        besideOthers.push_back({text + size.Name(), &size, TimesOf(role)});
      }
    }
  }
  for (const Size& size : Sizes()) {
    alone.push_back({size.Name(), &size, [](const Result& result) { return result.Seconds() * 1e6; }});
  }
  page << "Measured on: " << Machine() << "\n";
  WriteFamilies(results, besideOthers, true, page);
  WriteSlowerCases(results, Role::kPeer, page);
  page << "\nMicroseconds a call; the buffer of 641 × 479 pixels begins at an odd address and has gaps:\n";
  WriteFamilies(results, alone, false, page);
}

void WriteComparison(const std::vector<Result>& results, std::ostream& page) {
  std::vector<Column> columns;
  for (const Size& size : Sizes()) {
    columns.push_back({size.Name(), &size, TimesOf(Role::kOtherPlugin)});
  }
  page << "How many times as fast as the other plug-in:\n";
  WriteFamilies(results, columns, false, page);
  WriteSlowerCases(results, Role::kOtherPlugin, page);
  page << "\nFamilies below " << Number(kLevel) << ":\n\n";
  for (const Results& family : ByFamily(results)) {
    for (const Column& column : columns) {
      const auto mean = Mean(family, *column.size, column.figure);
      if (mean && *mean < kLevel) {
        page << "- " << family.front()->one.row->family << ", " << column.name << ": " << Number(mean)
             << "\n";
      }
    }
  }
}

void WriteTargets(const std::vector<TargetsResult>& results, std::ostream& page) {
  std::vector<Line> lines = {{"conversion", "µs of the loop"}};
  for (const Timing& timing : results.front().targets) {
    lines.front().push_back("× " + timing.name);
  }
  for (const TargetsResult& result : results) {
    Line& line = lines.emplace_back(Line{result.kind, Number(result.loop.seconds * 1e6)});
    for (const Timing& timing : result.targets) {
      line.push_back(Number(result.loop.seconds / timing.seconds));
    }
  }
  page << "\nHow many times as fast as a loop for that conversion alone each target is, 640 × 480:\n";
  WriteTable(lines, page);
}

}  // namespace bench
