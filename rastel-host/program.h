// What the verbs share: how they begin and how they end.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>

namespace devhost::program {

/// The program's exit statuses, as --help tells them.
enum class Status {
  kGood = 0,
  kFindings = 1,  // what was found is not as it should be, or a host exception
  kUsage = 2,     // words on the command line that make no sense, arguments that fit no overload
  kNoPlugin = 3,  // the plug-in cannot be loaded
  kCrash = 4,     // the plug-in crashed
  kFile = 5,      // a file cannot be read or written
};

/// What went wrong, in a line that says what was expected.
struct Failure : std::runtime_error {
  Failure(Status exitStatus, const std::string& line) : std::runtime_error(line), status(exitStatus) {}
  Status status;
};

/// What a verb does once the command line is parsed: prints its results on standard output, and says how the
/// program is to end. Throws Failure if it cannot begin, or cannot bring its work to an end.
using Work = std::function<Status()>;

/// Each gives its verb's parser its options, and its work.
Work SetUpList(CLI::App& app);
Work SetUpShow(CLI::App& app);
Work SetUpCall(CLI::App& app);
Work SetUpConvert(CLI::App& app);

}  // namespace devhost::program
