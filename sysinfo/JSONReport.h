#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace kelvora {

/// A report of the system profiler as macOS's JSON reader takes it; none if the text is
/// not JSON in UTF-8, is neither an object nor an array at its top, or nests more than 512 deep.
std::optional<nlohmann::json> parsedReport(std::string_view text);

/// A text member of an object; none if it is absent or of another kind.
std::optional<std::string> textMember(const nlohmann::json& object, const char* key);

}  // namespace kelvora
