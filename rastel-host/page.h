// What was observed of methods, as text that is good to read on a terminal and as Markdown.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "rastel-host/observation.h"

namespace devhost::program {

/// Writes a page about overloads of one family.
void WritePage(std::ostream& out, const std::string& title, const std::vector<Observed>& overloads);

}  // namespace devhost::program
