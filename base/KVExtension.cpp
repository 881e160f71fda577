#include "KelvoraCore/KVExtension.h"

#include "base/Blanks.h"

namespace kelvora::KVExtension {

bool isBlank(std::string_view text) { return trimWhitespace(text).empty(); }

std::string replace(std::string_view text, std::string_view what,
                    std::optional<std::string_view> with) {
  if (what.empty()) {
    return std::string(text);
  }
  std::string result;
  result.reserve(text.size());
  std::size_t begin = 0;
  for (std::size_t found = text.find(what); found != std::string_view::npos;
       found = text.find(what, begin)) {
    result.append(text.substr(begin, found - begin)).append(with.value_or(""));
    begin = found + what.size();
  }
  return result.append(text.substr(begin));
}

std::string trimWhitespace(std::string_view text) {
  return withSingleBlanks(trimmedOfBlanks(text));
}

std::string condenseWhitespace(std::string_view text) { return withSingleBlanks(text); }

std::string formattedName(std::string_view name) {
  return trimWhitespace(replace(name, "%@", std::nullopt));
}

std::string formattedForCSVContent(std::string_view text) { return replace(text, ",", ";"); }

}  // namespace kelvora::KVExtension
