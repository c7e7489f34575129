// How the program ends when it cannot do what it was asked to.
#pragma once

#include <stdexcept>
#include <string>

namespace devhost::program {

/// The program's exit statuses, as --help tells them.
enum class Status {
  kGood = 0,
  kFindings = 1,  // what was found is not as it should be, or a host exception
  kUsage = 2,     // words on the command line that make no sense, arguments that fit no overload
  kNoPlugin = 3,  // the plug-in cannot be loaded
  kCrash = 4,     // the plug-in crashed or took too long
  kFile = 5,      // a file cannot be read or written
};

/// What went wrong, in one line that says what was expected.
struct Failure : std::runtime_error {
  Failure(Status exitStatus, const std::string& line) : std::runtime_error(line), status(exitStatus) {}
  Status status;
};

}  // namespace devhost::program
