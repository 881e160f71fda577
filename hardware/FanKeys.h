#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kelvora {

/// The SMC names fans 0 to 19 by these characters.
inline constexpr std::string_view kFanCharacters = "0123456789ABCDEFGHIJ";
inline constexpr auto kNameableFans = static_cast<std::int64_t>(kFanCharacters.size());

/// The key of a fan, e.g. "F0Ac" for (0, "Ac") and "FJMn" for (19, "Mn"); none for a fan that the
/// SMC cannot name. Any thread.
inline std::optional<std::string> fanKey(std::int64_t fanIndex, std::string_view suffix) {
  if (fanIndex < 0 || fanIndex >= kNameableFans) {
    return std::nullopt;
  }
  return std::string("F") + kFanCharacters[static_cast<std::size_t>(fanIndex)] +
         std::string(suffix);
}

}  // namespace kelvora
