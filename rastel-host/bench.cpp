#include <algorithm>
#include <chrono>
#include <cstring>
#include <iomanip>
#include <iostream>

#include "rastel-host/form.h"
#include "rastel-host/report.h"
#include "rastel-host/verbs.h"

namespace devhost::program {
namespace {

/// Large enough that what a call costs besides its pixels does not count.
constexpr Size kSize{1024, 512};
constexpr int kRounds = 7;
constexpr int kBarLength = 40;

struct Row {
  std::string key;
  double method;  // bytes of the buffer a second
  double copy;    // the same bytes, copied from memory to memory
};

/// Bytes a second: the best of some rounds, each of which takes a millisecond or more.
template <typename Work>
double Throughput(std::size_t bytes, Work work) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kRound(1);
  double best = 0;
  for (int round = 0; round < kRounds; ++round) {
    const auto start = Clock::now();
    int calls = 0;
    do {
      work();
      ++calls;
    } while (Clock::now() - start < kRound);
    const std::chrono::duration<double> seconds = Clock::now() - start;
    best = std::max(best, static_cast<double>(bytes) * calls / seconds.count());
  }
  return best;
}

Row Measure(Host& host, const Form& form, PixelFormat format) {
  Plan plan;
  plan.size = plan.otherSize = kSize;
  const Scene scene(host, form, plan, format, 1);
  const auto made = host.NewPicture(kSize.width, kSize.height);
  host.spare = made.get();
  const Arguments arguments = ArgumentsOf(form, plan, scene);
  const auto bytes = static_cast<std::size_t>(scene.block->size);
  std::vector<std::uint8_t> copy(bytes);
  Row row{form.Key(), 0, 0};
  row.method = Throughput(bytes, [&] {
    const CallResult result = host.Call(form.method, arguments);
    if (!result.boolean && !result.picture) {
      throw Failure(Status::kFindings, form.Key() + " gave nothing");
    }
  });
  row.copy = Throughput(bytes, [&] {
    std::memcpy(copy.data(), scene.block->bytes(), bytes);
    asm volatile("" : : "r"(copy.data()) : "memory");  // the copy is wanted
  });
  host.spare = nullptr;
  return row;
}

void PrintRow(const Row& row) {
  const double share = row.method / row.copy;
  const auto filled = static_cast<std::size_t>(std::clamp(share, 0.0, 1.0) * kBarLength);
  std::string bar;
  for (std::size_t i = 0; i < kBarLength; ++i) {
    bar += i < filled ? "█" : "·";
  }
  std::cout << std::left << std::setw(37) << row.key << ' ' << Good(bar) << std::right << std::fixed
            << std::setprecision(2) << std::setw(7) << row.method / 1e9 << " GB/s, " << std::setprecision(0)
            << std::setw(3) << share * 100 << " % of a copy\n";
}

}  // namespace

Status RunBench(const Common& options) {
  HostSettings settings = options.host;
  settings.watched = false;
  const auto host = OpenHost(settings);
  Datum::List records;
  const Progress progress("measuring");
  for (const Form& form : AllForms()) {
    progress.Show(records.size(), AllForms().size());
    const Row row = Measure(*host, form, SourceFormat(settings));
    records.emplace_back(
        Datum::Record{{"method", row.key}, {"bytesPerSecond", row.method}, {"copyBytesPerSecond", row.copy}});
    if (!options.json) {
      progress.Clear();
      PrintRow(row);
    }
  }
  if (options.json) {
    PrintJson("bench", {{"width", kSize.width}, {"height", kSize.height}, {"methods", records}});
  }
  return Status::kGood;
}

}  // namespace devhost::program
