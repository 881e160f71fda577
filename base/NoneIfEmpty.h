#pragma once

#include <optional>
#include <string>
#include <utility>

namespace kelvora {

/// The text; none of an empty one, where a system says so that it has none.
inline std::optional<std::string> noneIfEmpty(std::string text) {
  return text.empty() ? std::nullopt : std::optional(std::move(text));
}

}  // namespace kelvora
