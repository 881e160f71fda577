#include "platforms/recorded/file/JSONFile.h"

#include <algorithm>

#include "base/JSONNesting.h"
#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::platform {

namespace {

constexpr int kNewestVersion = 1;
// Far above any recording; keeps hostile files from exhausting the stack.
constexpr std::size_t kDeepestNesting = 128;

std::string lineAndColumn(std::string_view json, std::size_t byte) {
  const std::string_view before = json.substr(0, byte == 0 ? 0 : byte - 1);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t lineStart =
      before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
  return "line " + std::to_string(line) + ", column " +
         std::to_string(before.size() - lineStart + 1);
}

}  // namespace

nlohmann::json parsedJSON(std::string_view json, const std::string& name) {
  if (deepestNesting(json) > kDeepestNesting) {
    throw MachineFileError(name, "/",
                           "is nested deeper than " + std::to_string(kDeepestNesting) + " levels");
  }
  try {
    return nlohmann::json::parse(json);
  } catch (const nlohmann::json::parse_error& error) {
    throw MachineFileError(name, lineAndColumn(json, error.byte), "is not JSON");
  } catch (const nlohmann::json::exception&) {
    throw MachineFileError(name, "/", "holds a number that is too large");
  }
}

void requireFormat(const JSONPlace& root, std::string_view name) {
  root.requiredMember("format", [&](const JSONPlace& format) {
    if (format.text() != name) {
      format.refuse(JSONPlace::quoted(format.text()) + " is not " + JSONPlace::quoted(name));
    }
  });
  root.requiredMember("version", [](const JSONPlace& version) {
    const auto number = version.integer<std::int64_t>();
    if (number < 1 || number > kNewestVersion) {
      version.refuse(std::to_string(number) + " is not a version that can be read (" +
                     std::to_string(kNewestVersion) + " can)");
    }
  });
}

}  // namespace kelvora::platform
