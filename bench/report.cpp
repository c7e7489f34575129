#include "bench/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <ostream>
#include <set>
#include <span>
#include <utility>

#include "pixels/targets.h"

namespace bench {
namespace {

/// Two measurements of the same code are apart by so much.
constexpr double kLevel = 0.95;

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

using Family = std::span<const Result>;

std::vector<Family> ByFamily(const std::vector<Result>& results) {
  std::vector<Family> families;
  for (auto first = results.begin(); first != results.end();) {
    const auto last = std::find_if(first, results.end(), [&](const Result& result) {
      return result.one.row->family != first->one.row->family;
    });
    families.emplace_back(first, last);
    first = last;
  }
  return families;
}

/// What is told of each family, at one size.
struct Column {
  std::string name;
  const Size* size;
  std::function<std::optional<double>(const Result&)> figure;
};

Column TimesOf(Role role, const std::string& text, const Size& size) {
  return {text + size.Name(), &size, [role](const Result& result) { return result.Times(role); }};
}

/// The geometric mean over the cases that have the figure.
std::optional<double> Mean(const Family& family, const Column& column) {
  double sum = 0;
  int count = 0;
  for (const Result& result : family) {
    const auto one = result.one.size == column.size ? column.figure(result) : std::nullopt;
    sum += one ? std::log(*one) : 0;
    count += one ? 1 : 0;
  }
  return count == 0 ? std::nullopt : std::optional(std::exp(sum / count));
}

Table TableOf(const std::vector<Result>& results, const std::vector<Column>& columns) {
  Table table = {{"conversion"}};
  for (const Column& column : columns) {
    table.front().push_back(column.name);
  }
  for (const Family& family : ByFamily(results)) {
    auto& line = table.emplace_back(1, family.front().one.row->family);
    for (const Column& column : columns) {
      line.push_back(Number(Mean(family, column)));
    }
  }
  return table;
}

/// Those that are the fastest for any case.
std::string FastestPeers(const Family& family) {
  std::set<std::string> names;
  for (const Result& result : family) {
    if (const Timing* peer = result.Fastest(Role::kPeer)) {
      names.insert((peer->hasSameBytes ? "" : "≈ ") + peer->name);
    }
  }
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
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
  for (const auto& [text, role] :
       {std::pair("share of memcpy, ", Role::kMemcpy), {"× fastest peer, ", Role::kPeer}}) {
    for (const Size& size : Sizes()) {
      if (size.isComparedWithOthers) {
        besideOthers.push_back(TimesOf(role, text, size));
      }
    }
  }
  Table table = TableOf(results, besideOthers);
  auto line = table.begin();
  line->push_back("fastest peers");
  for (const Family& family : ByFamily(results)) {
    (++line)->push_back(FastestPeers(family));
  }
  page << "Measured on: " << Machine() << "\n";
  WriteTable(table, page);
  WriteSlowerCases(results, Role::kPeer, page);

  std::vector<Column> alone;
  for (const Size& size : Sizes()) {
    alone.push_back({size.Name(), &size, [](const Result& result) { return result.Seconds() * 1e6; }});
  }
  page << "\nMicroseconds a call; the buffer of 641 × 479 pixels begins at an odd address and has gaps:\n";
  WriteTable(TableOf(results, alone), page);
}

void WriteComparison(const std::vector<Result>& results, std::ostream& page) {
  std::vector<Column> columns;
  for (const Size& size : Sizes()) {
    columns.push_back(TimesOf(Role::kOtherPlugin, "", size));
  }
  page << "How many times as fast as the other plug-in:\n";
  WriteTable(TableOf(results, columns), page);
  WriteSlowerCases(results, Role::kOtherPlugin, page);
  page << "\nFamilies below " << Number(kLevel) << ":\n\n";
  for (const Family& family : ByFamily(results)) {
    for (const Column& column : columns) {
      const auto mean = Mean(family, column);
      if (mean && *mean < kLevel) {
        page << "- " << family.front().one.row->family << ", " << column.name << ": " << Number(mean) << "\n";
      }
    }
  }
}

std::string Number(std::optional<double> number) {
  char text[32] = "–";
  if (number) {
    std::snprintf(text, sizeof text, *number < 9.95 ? "%.2f" : "%.0f", *number);
  }
  return text;
}

void WriteTable(const Table& table, std::ostream& page) {
  std::string rule = "| --- |";
  for (std::size_t i = 1; i < table.front().size(); ++i) {
    rule += " ---: |";
  }
  rule += "\n";
  page << "\n";
  for (const auto& line : table) {
    page << "|";
    for (const std::string& cell : line) {
      page << " " << cell << " |";
    }
    page << "\n" << std::exchange(rule, "");
  }
}

}  // namespace bench
