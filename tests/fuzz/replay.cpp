// Runs scenarios once: those of a corpus, a file with one input in hexadecimal digits on each line, or those
// told by the arguments in the same way. Each is printed first, so that the last one printed is the one that
// failed.
//   rastel_replay CORPUS | INPUT…
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "fuzz/scenario.h"

namespace {

int Main(std::vector<std::string> inputs) {
  if (std::ifstream corpus(inputs.empty() ? "" : inputs[0]); corpus.is_open()) {
    inputs.assign(std::istream_iterator<std::string>(corpus), {});
  }
  tests::ScenarioRunner runner;
  int failures = 0;
  for (const std::string& digits : inputs) {
    std::cerr << digits << std::endl;
    const tests::Scenario scenario = tests::Decode(tests::ParseHex(digits));
    const std::string verdict = runner.Run(scenario);
    if (!verdict.empty()) {
      ++failures;
      std::cerr << verdict << "\n" << scenario << "\nRepeat: " << RASTEL_REPLAY << " " << digits << std::endl;
    }
  }
  std::cout << inputs.size() << " scenarios, " << failures << " failed\n";
  return failures == 0 && !inputs.empty() ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return Main({arguments + 1, arguments + count});
  } catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 2;
  }
}
