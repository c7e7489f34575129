// Suggestions for misspelt names.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace devhost {

/// "; the nearest are A, B": those of `known` that take the fewest letters to insert, drop or replace, case
/// apart, to become `name`. Empty if all are far from it.
std::string Nearest(std::string_view name, const std::vector<std::string>& known);

}  // namespace devhost
