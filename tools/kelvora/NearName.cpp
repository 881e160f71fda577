#include "tools/kelvora/NearName.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace kelvora::tool {

namespace {

// The optimal string alignment distance. row[i][j] is that of the first i and j letters.
std::size_t distance(std::string_view one, std::string_view other) {
  std::vector<std::vector<std::size_t>> row(one.size() + 1,
                                            std::vector<std::size_t>(other.size() + 1));
  for (std::size_t i = 0; i <= one.size(); ++i) {
    for (std::size_t j = 0; j <= other.size(); ++j) {
      if (i == 0 || j == 0) {
        row[i][j] = i + j;
        continue;
      }
      const std::size_t replaced = row[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
      row[i][j] = std::min({row[i - 1][j] + 1, row[i][j - 1] + 1, replaced});
      if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
        row[i][j] = std::min(row[i][j], row[i - 2][j - 2] + 1);
      }
    }
  }
  return row[one.size()][other.size()];
}

}  // namespace

std::optional<std::string> nearName(std::string_view word, std::span<const std::string> names) {
  if (word.empty()) {
    return std::nullopt;
  }
  const std::size_t most = std::max<std::size_t>(word.size() / 3, 1);
  std::optional<std::string> nearest;
  std::size_t least = most + 1;
  for (const std::string& name : names) {
    // A longer or shorter name needs as many letters at least.
    const std::size_t difference =
        std::max(name.size(), word.size()) - std::min(name.size(), word.size());
    const std::size_t needed = difference < least ? distance(word, name) : least;
    if (needed < least) {
      least = needed;
      nearest = name;
    }
  }
  return nearest;
}

}  // namespace kelvora::tool
