// What docs/ says of the settings and of a host, against the code.
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVSetting.h"

namespace kelvora {
namespace {

std::string contentOf(const std::string& path) {
  std::ifstream file(std::string(KELVORA_SOURCES) + "/" + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

const char* typeText(KVSettingType type) {
  switch (type) {
    case KVSettingType::kBoolean:
      return "boolean";
    case KVSettingType::kInteger:
      return "whole number";
    case KVSettingType::kText:
      return "text";
    case KVSettingType::kTextList:
      return "array of texts";
    case KVSettingType::kItemList:
      return "array of one-entry dictionaries, name to boolean";
    case KVSettingType::kData:
      return "archived data";
  }
  return "";
}

const char* defaultText(KVSettingDefault value) {
  switch (value) {
    case KVSettingDefault::kNone:
      return "none, taken as false";
    case KVSettingDefault::kFalse:
      return "false";
    case KVSettingDefault::kTrue:
      return "true";
    case KVSettingDefault::kZero:
      return "0";
    case KVSettingDefault::kComputed:
      return "computed";
  }
  return "";
}

std::string rowOf(const KVSetting& setting) {
  const std::string notice(setting.notification);
  return "| `" + std::string(setting.property) + "` | `" + std::string(setting.key) + "` | " +
         typeText(setting.type) + " | " + defaultText(setting.defaultValue) +
         (setting.isDefaultWrittenBack ? ", written back" : "") + " | " +
         (notice.empty() ? "nothing" : "`" + notice + "`") +
         (setting.hasUserInfo ? " with user info" : "") + " |\n";
}

TEST(Documentation, TheTableOfSettingsIsTheCodes) {
  std::string table =
      "| Property | Key | Stored as | Default when absent | Setter announces |\n"
      "|---|---|---|---|---|\n";
  for (const KVSetting& setting : allSettings()) {
    table += rowOf(setting);
  }
  EXPECT_NE(contentOf("docs/settings.md").find("\n" + table + "\n"), std::string::npos)
      << "docs/settings.md should hold:\n"
      << table;
}

TEST(Documentation, TheHostOfTheDocumentIsTheOneThatIsBuilt) {
  const std::string code = contentOf("examples/menu.cpp");
  ASSERT_FALSE(code.empty());
  EXPECT_NE(contentOf("docs/hosting.md").find("```cpp\n" + code + "```\n"), std::string::npos);
}

}  // namespace
}  // namespace kelvora
