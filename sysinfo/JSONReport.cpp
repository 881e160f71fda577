#include "sysinfo/JSONReport.h"

#include <cstddef>

#include "base/JSONNesting.h"

namespace kelvora {

namespace {

// Checked before parsing, so that a text of nothing but brackets costs no memory.
constexpr std::size_t kMaximumDepth = 512;

}  // namespace

std::optional<nlohmann::json> parsedReport(std::string_view text) {
  if (deepestNesting(text) > kMaximumDepth) {
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
