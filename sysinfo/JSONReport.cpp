#include "sysinfo/JSONReport.h"

#include <cstddef>

namespace kelvora {

namespace {

constexpr std::size_t kMaximumDepth = 512;

// Told before parsing, so that a text of nothing but brackets costs no memory.
bool nestsTooDeep(std::string_view text) {
  std::size_t depth = 0;
  bool inText = false;
  for (std::size_t index = 0; index < text.size(); ++index) {
    const char character = text[index];
    if (inText && character == '\\') {
      ++index;
    } else if (character == '"') {
      inText = !inText;
    } else if (!inText && (character == '[' || character == '{')) {
      if (++depth > kMaximumDepth) {
        return true;
      }
    } else if (!inText && (character == ']' || character == '}') && depth > 0) {
      --depth;
    }
  }
  return false;
}

}  // namespace

std::optional<nlohmann::json> parsedReport(std::string_view text) {
  if (nestsTooDeep(text)) {
    return std::nullopt;
  }
  auto report = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
  if (!report.is_structured()) {
    return std::nullopt;
  }
  return report;
}

std::optional<std::string> textMember(const nlohmann::json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end() || !found->is_string()) {
    return std::nullopt;
  }
  return found->get<std::string>();
}

}  // namespace kelvora
