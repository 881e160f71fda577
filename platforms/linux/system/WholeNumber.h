#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>

namespace kelvora::platform {

/// The whole number at the start of a text, e.g. 42250 for "42250\n"; 0 for none and where there is
/// no number.
inline std::int64_t numberOf(const std::optional<std::string>& text) {
  std::int64_t number = 0;
  if (text) {
    std::from_chars(text->data(), text->data() + text->size(), number);
  }
  return number;
}

}  // namespace kelvora::platform
