// Measures the plug-in's file beside the limit, its peers and the kernels of every target.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <random>
#include <stdexcept>

#include "bench/cases.h"
#include "bench/report.h"
#include "bench/stage.h"

namespace {

using namespace bench;

/// Whoever has taken longer in one case rests until the next.
constexpr double kMostSeconds = 0.4;

double Seconds(const Contestant& contestant, int calls) {
  using Clock = std::chrono::steady_clock;
  if (calls > 1) {
    contestant.run();  // what fits the caches is in them
  }
  const auto start = Clock::now();
  for (int call = 0; call < calls; ++call) {
    contestant.run();
  }
  return std::chrono::duration<double>(Clock::now() - start).count() / calls;
}

/// All contestants take one turn in each round, in an order of its own, and keep their least time. A round is
/// an iteration of the framework; the time it sees is the plug-in's least so far.
void RunCase(benchmark::State& state, const Case& one, std::vector<Result>& results) {
  const Stage stage(one, RASTEL_PLUGIN);
  Result result{one, stage.traffic(), {}};
  std::vector<std::size_t> order;
  std::vector<double> left;
  for (const Contestant& contestant : stage.contestants()) {
    result.timings.push_back({contestant.role, contestant.name, contestant.hasSameBytes, contestant.seconds});
    left.push_back(kMostSeconds - contestant.seconds);
    order.push_back(order.size());
  }
  std::minstd_rand random(1);
  for ([[maybe_unused]] const auto& round : state) {
    std::ranges::shuffle(order, random);
    for (const std::size_t turn : order) {
      if (left[turn] < 0) {
        continue;
      }
      const double seconds = Seconds(stage.contestants()[turn], one.size->calls);
      left[turn] -= seconds * one.size->calls;
      result.timings[turn].seconds = std::min(result.timings[turn].seconds, seconds);
    }
    state.SetIterationTime(result.Of(Role::kPlugin).seconds);
  }
  const Timing& plugin = result.Of(Role::kPlugin);
  state.counters["least_us"] = plugin.seconds * 1e6;
  state.counters["of_limit"] = result.Share(plugin);
  if (const Timing* peer = result.FastestPeer()) {
    state.counters["times_peer"] = peer->seconds / plugin.seconds;
    state.SetLabel(peer->name);
  }
  results.push_back(std::move(result));
}

void Write(const Report& report, const std::string& directory) {
  std::ofstream conditions(directory + "/conditions.md");
  Report::WriteConditions(conditions);
  std::ofstream tables(directory + "/tables.md");
  report.WriteTables(tables);
  tables << "\n" << report.ClosingLine() << ".\n";
  std::ofstream limit(directory + "/limit.tsv");
  report.WritePlot(limit, false);
  std::ofstream peer(directory + "/peer.tsv");
  report.WritePlot(peer, true);
}

}  // namespace

/// rastel_bench [DIRECTORY] [--benchmark_…]: the parts of the page go to DIRECTORY, if given.
int main(int argumentCount, char** arguments) {
  benchmark::Initialize(&argumentCount, arguments);
  std::vector<Result> results;
  const std::vector<Case> cases = Cases();
  for (const Case& one : cases) {
    benchmark::RegisterBenchmark(one.Name().c_str(),
                                 [&one, &results](benchmark::State& state) { RunCase(state, one, results); })
        ->Iterations(one.size->rounds)
        ->UseManualTime()
        ->Unit(benchmark::kMicrosecond);
  }
  try {
    benchmark::RunSpecifiedBenchmarks();
  } catch (const std::exception& error) {
    std::cerr << "rastel_bench: " << error.what() << "\n";
    return EXIT_FAILURE;
  }
  if (results.empty()) {
    std::cerr << "rastel_bench: nothing was measured\n";
    return EXIT_FAILURE;
  }
  const Report report(results);
  if (argumentCount > 1) {
    Write(report, arguments[1]);
  }
  std::cout << report.ClosingLine() << "\n";
  return EXIT_SUCCESS;
}
