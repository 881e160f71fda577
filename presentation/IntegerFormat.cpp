#include "presentation/IntegerFormat.h"

#include <algorithm>
#include <cstddef>

namespace kelvora {

namespace {

// How long the placeholder at the start of `text` is; 0 when none is there.
std::size_t placeholderLength(std::string_view text) {
  if (!text.starts_with('%')) {
    return 0;
  }
  std::size_t end = 1;
  for (const std::string_view part : {"0123456789", "$", "0123456789", "hljqtz"}) {
    end = std::min(text.find_first_not_of(part, end), text.size());
  }
  constexpr std::string_view kConversions = "diu";
  return end < text.size() && kConversions.find(text[end]) != kConversions.npos ? end + 1 : 0;
}

}  // namespace

std::string formattedWithInteger(std::string_view format, std::int32_t number) {
  std::string text;
  bool isPlaced = false;
  while (!format.empty()) {
    const std::size_t placeholder = isPlaced ? 0 : placeholderLength(format);
    if (placeholder > 0) {
      text += std::to_string(number);
      isPlaced = true;
    } else {
      text += format.front();
    }
    format.remove_prefix(format.starts_with("%%") ? 2 : std::max<std::size_t>(placeholder, 1));
  }
  return text;
}

}  // namespace kelvora
