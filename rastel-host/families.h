// What is written by hand about the methods: the families they are described in, and what their arguments
// are for. All else is observed.
#pragma once

#include <string>
#include <string_view>

#include "rastel-host/layout.h"

namespace devhost::program {

/// Methods that are described together.
struct Family {
  bool makesPicture;
  int pixelBytes;
  Fourth fourth;
  std::string_view file;    // of its page, without ".md"
  std::string_view title;   // "Gray to a picture"
  std::string_view effect;  // what its methods do
};

std::span<const Family> Families();

/// The layout of a method's buffer. This and the next two throw Failure (kUsage) if nothing is written about
/// what they are asked for.
const Layout& LayoutOf(std::string_view method, bool makesPicture);

const Family& FamilyOf(std::string_view method, bool makesPicture);

/// `type` as in ObservedArgument.
std::string_view MeaningOf(std::string_view argument, std::string_view type);

}  // namespace devhost::program
