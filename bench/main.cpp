// Measures the plug-in's file beside memcpy and the peers, and the kernels of every target beside plain
// loops; or beside another plug-in's file.
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <map>
#include <stdexcept>

#include "bench/cases.h"
#include "bench/report.h"
#include "bench/stage.h"
#include "bench/targets.h"

namespace {

using namespace bench;

constexpr const char* kUsage =
    "usage: rastel_bench [--plugin FILE] [--against FILE] [--filter TEXT]\n"
    "  --plugin   the plug-in to measure, instead of the one that was built\n"
    "  --against  another plug-in, which alone takes turns with it\n"
    "  --filter   only cases whose name contains TEXT\n";

using Options = std::map<std::string, std::string>;

Options ParseOptions(int argumentCount, char** arguments) {
  Options options = {{"--plugin", RASTEL_PLUGIN}, {"--against", ""}, {"--filter", ""}};
  for (int i = 1; i < argumentCount; i += 2) {
    const auto option = options.find(arguments[i]);
    if (option == options.end() || i + 1 == argumentCount) {
      throw std::runtime_error(kUsage);
    }
    option->second = arguments[i + 1];
  }
  return options;
}

std::vector<std::string> PluginsOf(const Options& options) {
  std::vector<std::string> plugins = {std::filesystem::absolute(options.at("--plugin"))};
  if (const std::string& other = options.at("--against"); !other.empty()) {
    plugins.push_back(std::filesystem::absolute(other));
  }
  return plugins;
}

Result Measure(const Case& one, const std::vector<std::string>& plugins) {
  Stage stage(one, plugins);
  TakeTurns(stage.contestants);
  return {one, stage.task().Traffic(), {stage.contestants.begin(), stage.contestants.end()}};
}

void WriteProgress(const Result& result) {
  std::cerr << result.one.Name() << ":\n";
  for (const Timing& timing : result.timings) {
    const double times = timing.seconds / result.Seconds();
    std::cerr << "  " << timing.name << ": " << timing.seconds * 1e6 << " µs, × " << times << "\n";
  }
}

std::vector<Result> MeasureCases(const std::string& filter, const std::vector<std::string>& plugins) {
  std::vector<Result> results;
  for (const Case& one : Cases()) {
    if (one.Name().find(filter) != std::string::npos) {
      results.push_back(Measure(one, plugins));
      WriteProgress(results.back());
    }
  }
  return results;
}

void Run(const Options& options) {
  const std::vector<std::string> plugins = PluginsOf(options);
  const std::vector<Result> results = MeasureCases(options.at("--filter"), plugins);
  if (plugins.size() > 1) {
    return WriteComparison(results, std::cout);
  }
  WriteTables(results, std::cout);
  WriteTargets(MeasureTargets(), std::cout);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  try {
    Run(ParseOptions(argumentCount, arguments));
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}
