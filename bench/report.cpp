#include "bench/report.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <ostream>
#include <ranges>
#include <string_view>

#include "bench/peers.h"
#include "pixels/targets.h"

namespace bench {
namespace {

std::string Number(double number) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", number);
  return text;
}

/// A figure in bold if it misses its goal.
std::string Judged(double figure, bool isReached) {
  std::string text = isReached ? "" : "**";
  text += Number(figure) + text;
  return text;
}

std::string Dimensions(const Size& size) {
  return std::to_string(size.width) + " × " + std::to_string(size.height);
}

auto SizesWithLimit() {
  return Sizes() | std::views::filter([](const Size& size) { return size.measure == Measure::kLimit; });
}

bool IsVga(const Size& size) {
  return size.goal == &Goals::vga;
}

std::string Processor() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    if (line.starts_with("model name")) {
      return line.substr(line.find(':') + 2);
    }
  }
  return "unknown";
}

std::string CacheSizes() {
  constexpr std::pair<const char*, int> kCaches[] = {
      {"L1 data", _SC_LEVEL1_DCACHE_SIZE}, {"L2", _SC_LEVEL2_CACHE_SIZE}, {"L3", _SC_LEVEL3_CACHE_SIZE}};
  std::string text;
  for (const auto& [name, key] : kCaches) {
    const long size = sysconf(key);
    text += text.empty() ? "" : ", ";
    text += name;
    text += " ";
    text += size > 0 ? std::to_string(size / 1024) : "?";
    text += " KiB";
  }
  return text;
}

}  // namespace

const Timing& Result::Of(Role role) const {
  return *std::ranges::find(timings, role, &Timing::role);
}

const Timing* Result::FastestPeer() const {
  const Timing* fastest = nullptr;
  for (const Timing& timing : timings) {
    if (timing.role == Role::kPeer && (fastest == nullptr || timing.seconds < fastest->seconds)) {
      fastest = &timing;
    }
  }
  return fastest;
}

double Report::RateAtVga(const Result& result) const {
  const auto vga = std::ranges::find_if(results_, [&](const Result& other) {
    return IsVga(*other.one.size) && other.one.family == result.one.family &&
           other.one.pixelType == result.one.pixelType;
  });
  return vga == results_.end() ? result.Rate() : vga->Rate();
}

double Report::Figure(const Result& result) const {
  switch (result.one.size->measure) {
    case Measure::kMicroseconds:
      return result.Of(Role::kPlugin).seconds * 1e6;
    case Measure::kRate:
      return result.Rate() / RateAtVga(result);
    default:
      return result.Share(result.Of(Role::kPlugin));
  }
}

double Report::Reached(const Result& result) const {
  const double figure = Figure(result);
  const double goal = GoalOf(result.one);
  const double reached = result.one.size->measure == Measure::kMicroseconds ? goal / figure : figure / goal;
  const Timing* peer = result.FastestPeer();
  const double peerGoal = PeerGoalOf(result.one);
  if (peer == nullptr || peerGoal == 0) {
    return reached;
  }
  return std::min(reached, peer->seconds / result.Of(Role::kPlugin).seconds / peerGoal);
}

void Report::WriteConditions(std::ostream& page) {
  const std::time_t now = std::time(nullptr);
  char date[16];
  std::strftime(date, sizeof date, "%Y-%m-%d", std::gmtime(&now));
  page << "- CPU: " << Processor() << "; caches as the system tells them: " << CacheSizes() << "\n"
       << "- Date: " << date << "\n- Compiler: " << RASTEL_COMPILER << "\n- Targets run:";
  for (const rastel::pixels::Target& target : rastel::pixels::Targets()) {
    page << " " << target.name << (target.isSupported() ? "" : " (not: the CPU has it not)");
  }
  page << "; the plug-in takes " << rastel::pixels::BestTarget().name << "\n- Peers:";
  for (const PeerLibrary& library : PeerLibrary::All()) {
    page << " " << library.name;
  }
  const std::string_view absent = RASTEL_ABSENT_PEERS;
  page << (absent.empty() ? "" : "; left out, since not installed:") << absent << "\n";
}

void Report::WriteTables(std::ostream& page) const {
  for (const Size& size : Sizes()) {
    WriteTable(page, size);
  }
  for (const Size& size : Sizes()) {
    if (size.withKernels) {
      WriteKernels(page, size);
    }
  }
}

void Report::WriteTable(std::ostream& page, const Size& size) const {
  const char* figure = size.measure == Measure::kLimit  ? "share of the limit"
                       : size.measure == Measure::kRate ? "rate over that at 640 × 480"
                                                        : "µs a call";
  page << "\n## " << Dimensions(size);
  if (size.offset != 0) {
    page << ", the buffer " << size.offset << " byte off, rows that are copied out " << size.padding
         << " bytes apart";
  }
  page << "\n\n| family | method | pixel type | " << figure
       << " | goal | × fastest peer | goal | fastest peer | its share |\n"
          "| --- | --- | ---: | ---: | ---: | ---: | ---: | --- | ---: |\n";
  for (const Result& result : results_) {
    if (result.one.size == &size) {
      WriteRow(page, result);
    }
  }
}

void Report::WriteRow(std::ostream& page, const Result& result) const {
  const Case& one = result.one;
  const double figure = Figure(result);
  const double goal = GoalOf(one);
  const bool isUpperBound = one.size->measure == Measure::kMicroseconds;
  page << "| " << one.family->name << " | " << one.family->method << " | " << one.pixelType << " | "
       << Judged(figure, isUpperBound ? figure <= goal : figure >= goal) << " | " << Number(goal) << " | ";
  const Timing* peer = result.FastestPeer();
  if (peer == nullptr) {
    page << "| | none | |\n";
    return;
  }
  const double peerGoal = PeerGoalOf(one);
  const double times = peer->seconds / result.Of(Role::kPlugin).seconds;
  page << Judged(times, times >= peerGoal) << " | " << (peerGoal == 0 ? "" : Number(peerGoal)) << " | "
       << (peer->hasSameBytes ? "" : "≈ ") << peer->name << " | " << Number(result.Share(*peer)) << " |\n";
}

void Report::WriteKernels(std::ostream& page, const Size& size) const {
  page << "\n## The kernels of each target, " << Dimensions(size) << ", share of the limit\n\n"
       << "| family | method | pixel type |";
  std::string rule = "\n| --- | --- | ---: |";
  for (const rastel::pixels::Target& target : rastel::pixels::Targets()) {
    if (target.isSupported()) {
      page << " " << target.name << " |";
      rule += " ---: |";
    }
  }
  page << " moves alone |" << rule << " ---: |\n";
  for (const Result& result : results_) {
    if (result.one.size != &size) {
      continue;
    }
    page << "| " << result.one.family->name << " | " << result.one.family->method << " | "
         << result.one.pixelType << " |";
    for (const Timing& timing : result.timings) {
      if (timing.role == Role::kKernel) {
        page << " " << Number(result.Share(timing)) << " |";
      }
    }
    page << "\n";
  }
}

/// The geometric mean over the cases of `family` (null: of all) at `size`; 0 if there is none.
double Report::Mean(const char* family, const Size& size, bool ofPeer) const {
  double sum = 0;
  int count = 0;
  for (const Result& result : results_) {
    const Timing* peer = result.FastestPeer();
    const bool isOfFamily = family == nullptr || std::string_view(family) == result.one.family->name;
    if (result.one.size == &size && isOfFamily && (!ofPeer || peer != nullptr)) {
      const Timing& plugin = result.Of(Role::kPlugin);
      sum += std::log(ofPeer ? peer->seconds / plugin.seconds : result.Share(plugin));
      ++count;
    }
  }
  return count == 0 ? 0 : std::exp(sum / count);
}

void Report::WritePlot(std::ostream& data, bool ofPeer) const {
  data << "family";
  for (const Size& size : SizesWithLimit()) {
    data << "\t" << Dimensions(size);
  }
  std::string_view last;
  for (const Family& family : Families()) {
    if (last != family.name) {
      data << "\n" << family.name;
      for (const Size& size : SizesWithLimit()) {
        data << "\t" << Number(Mean(family.name, size, ofPeer));
      }
    }
    last = family.name;
  }
  data << "\n";
}

std::string Report::ClosingLine() const {
  const auto reached = [this](const Result& result) { return Reached(result); };
  const auto atGoal = std::ranges::count_if(results_, [&](const Result& one) { return reached(one) >= 1; });
  const Result& worst = *std::ranges::min_element(results_, {}, reached);
  std::string line = std::to_string(atGoal) + " of " + std::to_string(results_.size()) +
                     " cases at their goal; worst: " + worst.one.Name() + " at " + Number(Reached(worst)) +
                     " of its goal; geometric means:";
  const char* separator = " ";
  for (const Size& size : SizesWithLimit()) {
    line += std::string(separator) + size.Name() + " " + Number(Mean(nullptr, size, false)) +
            " of the limit and " + Number(Mean(nullptr, size, true)) + " times the fastest peer";
    separator = ", ";
  }
  return line;
}

}  // namespace bench
