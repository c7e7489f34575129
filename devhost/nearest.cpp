#include "devhost/nearest.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <set>

#include "abi/declaration.h"

namespace devhost {
namespace {

std::size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);  // from the letters of `a` so far to each start of `b`
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const bool same = rastel::abi::Lower(a[i]) == rastel::abi::Lower(b[j]);
      const std::size_t replaced = diagonal + (same ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string Nearest(std::string_view name, const std::vector<std::string>& known) {
  std::size_t least = std::max(name.size() / 3, std::size_t{2});
  std::set<std::string_view> nearest;
  for (const std::string& candidate : known) {
    const std::size_t distance = EditDistance(name, candidate);
    if (distance < least) {
      nearest.clear();
      least = distance;
    }
    if (distance == least) {
      nearest.insert(candidate);
    }
  }
  std::string text;
  for (const std::string_view candidate : nearest) {
    text += (text.empty() ? (nearest.size() == 1 ? "; the nearest is " : "; the nearest are ") : ", ") +
            std::string(candidate);
  }
  return text;
}

}  // namespace devhost
