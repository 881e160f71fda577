#include "base/JSONNesting.h"

#include <algorithm>

namespace kelvora {

std::size_t deepestNesting(std::string_view json) {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  bool isInText = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char character = json[i];
    if (isInText && character == '\\') {
      ++i;
    } else if (character == '"') {
      isInText = !isInText;
    } else if (!isInText && (character == '{' || character == '[')) {
      deepest = std::max(deepest, ++depth);
    } else if (!isInText && (character == '}' || character == ']') && depth > 0) {
      --depth;
    }
  }
  return deepest;
}

}  // namespace kelvora
