// A contact sheet: one picture, sent through each family of methods.
#pragma once

#include <string>

#include "devhost/program/session.h"

namespace devhost::program {

/// Reads the picture `in` and writes the sheet `out`. Throws Failure if a file cannot be read or written, or
/// if a method does not do its work.
void WriteSheet(const HostSettings& settings, const std::string& in, const std::string& out);

}  // namespace devhost::program
