// Runs scenarios once: those of a corpus, a file with one input in hexadecimal digits on each line, or those
// told by the arguments in the same way. Each is printed first, so that the last one printed is the one that
// failed.
//   rastel_replay CORPUS | INPUT…
#include <charconv>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "fuzz/scenario.h"

namespace {

using Input = std::vector<std::uint8_t>;

/// The bytes that hexadecimal digits tell.
Input ParseInput(const std::string& digits) {
  Input input;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const char* end = digits.data() + i + 2;
    if (digits.size() % 2 != 0 || std::from_chars(end - 2, end, input.emplace_back(), 16).ptr != end) {
      throw std::runtime_error("no hexadecimal digits: " + digits);
    }
  }
  return input;
}

/// Runs all inputs. Gives the number of those that failed.
int Replay(tests::ScenarioRunner& runner, const std::vector<std::string>& inputs) {
  int failures = 0;
  for (const std::string& digits : inputs) {
    const Input input = ParseInput(digits);
    std::cerr << digits << std::endl;
    const std::string verdict = runner.Run(tests::Decode(input));
    if (!verdict.empty()) {
      ++failures;
      std::cerr << verdict << "\n"
                << tests::Decode(input) << "\nRepeat: " << RASTEL_REPLAY << " " << digits << std::endl;
    }
  }
  return failures;
}

int Main(std::vector<std::string> arguments) {
  tests::ScenarioRunner runner;
  if (std::ifstream corpus(arguments.empty() ? "" : arguments[0]); corpus.is_open()) {
    arguments.assign(std::istream_iterator<std::string>(corpus), {});
  }
  const int failures = Replay(runner, arguments);
  std::cout << arguments.size() << " scenarios, " << failures << " failed\n";
  return failures == 0 && !arguments.empty() ? 0 : 1;
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
