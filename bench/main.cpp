// Measures the plug-in's file beside memcpy and the peers, and the kernels of every target beside plain
// loops; or beside another plug-in's file.
#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>

#include "bench/cases.h"
#include "bench/report.h"
#include "bench/stage.h"
#include "bench/targets.h"

namespace {

using namespace bench;

Result Measure(const Case& one, const std::string& otherPlugin) {
  Stage stage(one, otherPlugin);
  TakeTurns(stage.contestants);
  return {one, {stage.contestants.begin(), stage.contestants.end()}};
}

void WriteProgress(const Result& result) {
  std::cerr << result.one.Name() << ":\n";
  for (const Timing& timing : result.timings) {
    const double times = timing.seconds / result.Seconds();
    std::cerr << "  " << timing.name << ": " << timing.seconds * 1e6 << " µs, × " << times << "\n";
  }
}

void Run(const std::string& otherPlugin, const std::string& filter) {
  std::vector<Result> results;
  for (const Case& one : Cases()) {
    if (one.Name().find(filter) != std::string::npos) {
      results.push_back(Measure(one, otherPlugin));
      WriteProgress(results.back());
    }
  }
  if (!otherPlugin.empty()) {
    return WriteComparison(results, std::cout);
  }
  WriteTables(results, std::cout);
  WriteTargets(std::cout);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  try {
    std::string otherPlugin;
    std::string filter;
    CLI::App options("Measures the plug-in");
    options.add_option("--against", otherPlugin, "another plug-in, which alone takes turns with it")
        ->check(CLI::ExistingFile);
    options.add_option("--filter", filter, "only cases whose name contains this");
    CLI11_PARSE(options, argumentCount, arguments);
    Run(otherPlugin.empty() ? "" : std::filesystem::absolute(otherPlugin).string(), filter);
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
