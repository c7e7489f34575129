// How the program ends when it cannot do what it was asked to.
#pragma once

#include <stdexcept>
#include <string>

namespace devhost::program {

/// The program's exit statuses.
enum class Status {
  kGood = 0,
  kDifferent = 1,  // bytes are not what they should be, or the plug-in raised a host exception
  kUsage = 2,      // words on the command line that make no sense, arguments that fit no overload
  kNoPlugin = 3,   // the plug-in cannot be loaded, or lacks a method
  kFile = 5,       // a file cannot be read or written
};

/// What went wrong, in one line that says what was expected.
struct Failure : std::runtime_error {
  Failure(Status exitStatus, const std::string& line) : std::runtime_error(line), status(exitStatus) {}
  Status status;
};

}  // namespace devhost::program
