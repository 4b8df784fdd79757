#include "host/words/near_matches.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace zorbec {
namespace {

constexpr std::size_t kMostEdits = 2;

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The Levenshtein distance, with one row of the table in memory.
std::size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i + 1);
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t changed = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
      diagonal = std::exchange(row[j + 1], std::min({changed, row[j] + 1, row[j + 1] + 1}));
    }
  }
  return row.back();
}

}  // namespace

std::vector<std::string> near_matches(std::string_view name,
                                      const std::vector<std::string>& known) {
  std::vector<std::string> nearest;
  std::size_t fewest = kMostEdits;
  for (const std::string& candidate : known) {
    const auto [shorter, longer] = std::minmax({name.size(), candidate.size()});
    if (longer - shorter > kMostEdits) continue;
    const std::size_t edits = edit_distance(name, candidate);
    if (edits > fewest || edits >= longer) continue;
    if (edits < fewest) nearest.clear();
    fewest = edits;
    nearest.push_back(candidate);
  }
  return nearest;
}

}  // namespace zorbec
