// The verbs of the program, a file each.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "rastel-host/failure.h"

namespace devhost::program {

/// What a verb does once the command line is parsed: prints its results on standard output, and says how the
/// program is to end. Throws Failure if it cannot begin, or cannot bring its work to an end.
using Work = std::function<Status()>;

/// Each gives its verb's parser its options, and its work.
Work SetUpList(CLI::App& app);
Work SetUpShow(CLI::App& app);
Work SetUpCall(CLI::App& app);
Work SetUpConvert(CLI::App& app);

}  // namespace devhost::program
