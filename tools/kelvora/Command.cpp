#include "tools/kelvora/Command.h"

#include <cstdlib>

namespace kelvora::tool {

std::vector<std::string> Options::texts(std::string_view name) const {
  const auto found = given_.find(name);
  return found == given_.end() ? std::vector<std::string>() : found->second;
}

std::string Options::text(std::string_view name) const {
  const std::vector<std::string> words = texts(name);
  return words.empty() ? std::string() : words.front();
}

std::optional<double> Options::number(std::string_view name) const {
  const std::string word = text(name);
  return word.empty() ? std::nullopt : std::optional(std::strtod(word.c_str(), nullptr));
}

}  // namespace kelvora::tool
