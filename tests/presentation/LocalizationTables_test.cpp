// The tables of texts against the keys that the library and the programs look up.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/regex.h>

#include "KelvoraCore/KVLocalizationKeys.h"

#include "presentation/StringsTable.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using ::testing::Not;

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

StringsTable tableOf(const std::string& language) {
  const std::string text = contentOf(fs::path(KELVORA_SOURCES) / "presentation/lproj" /
                                     (language + ".lproj") / "Localizable.strings");
  StringsTableReading reading = parseStringsTable(std::as_bytes(std::span(text)));
  EXPECT_EQ(reading.failure, "") << language;
  return std::move(reading.table).value_or(StringsTable());
}

std::set<std::string> libraryKeys() {
  return {localizationKeys().begin(), localizationKeys().end()};
}

// The first group of each match, or the whole match of a pattern without groups.
std::vector<std::string> matchesOf(const char* pattern, const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::UnicodeString input = icu::UnicodeString::fromUTF8(text);
  icu::RegexMatcher matcher(icu::UnicodeString(pattern), input, 0, status);
  std::vector<std::string> found;
  while (U_SUCCESS(status) && matcher.find(status)) {
    std::string match;
    matcher.group(matcher.groupCount() == 0 ? 0 : 1, status).toUTF8String(match);
    found.push_back(match);
  }
  EXPECT_TRUE(U_SUCCESS(status)) << pattern;
  return found;
}

std::string placeholdersOf(const std::string& text) {
  std::string found;
  for (const std::string& match : matchesOf("%[@d%]|%", text)) {
    found += match;
  }
  return found;
}

// A key that is the English name of a fan: "Fan 1", "Fastest Fan".
bool isNameOfFan(const std::string& key) { return key == "Fastest Fan" || key.starts_with("Fan "); }

// The placeholders that the texts of a key have.
std::string expectedPlaceholdersOf(const std::string& key) {
  if (key.ends_with("-range")) {
    return "%@%@";
  }
  return key.ends_with("-%@") ? "%@" : key.ends_with("-value") ? "%d" : "";
}

class EveryLanguage : public ::testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Localization, EveryLanguage,
                         ::testing::Values("en", "fr", "de", "es", "tr", "vi", "zh-Hans",
                                           "zh-Hant"));

TEST_P(EveryLanguage, HasATextForEachKeyAndNoOther) {
  std::set<std::string> keys;
  for (const auto& [key, text] : tableOf(GetParam())) {
    keys.insert(key);
    EXPECT_FALSE(text.empty()) << key;
    const bool isEnglishName = std::string(GetParam()) == "en" && isNameOfFan(key);
    EXPECT_TRUE(text != key || isEnglishName) << key;
  }
  EXPECT_EQ(keys, libraryKeys());
}

TEST_P(EveryLanguage, KeepsThePlaceholdersOfEachFormat) {
  for (const auto& [key, text] : tableOf(GetParam())) {
    EXPECT_EQ(placeholdersOf(text), expectedPlaceholdersOf(key)) << key;
  }
}

TEST_P(EveryLanguage, SaysThingsInItsOwnWords) {
  if (std::string(GetParam()) == "en") {
    return;
  }
  const StringsTable english = tableOf("en");
  for (const auto& [key, text] : tableOf(GetParam())) {
    const bool sameWordInBoth =
        std::set<std::string>{"Normal",  "Error",   "CPU",    "GPU",     "live",
                              "Minimum", "Maximum", "Active", "Inactive"}
            .contains(text);
    EXPECT_TRUE(text != english.at(key) || sameWordInBoth) << key << ": " << text;
  }
}

// A fan is "Lüfter 1", not "Lüfter Fan 1" or "Fan 1 Fan".
TEST_P(EveryLanguage, HasAWholeNameForEachFanThatTheLibraryNames) {
  constexpr int kMostFans = 20;
  StringsTable table = tableOf(GetParam());
  std::set<std::string> names;
  for (int fan = 1; fan <= kMostFans; ++fan) {
    const std::string& name = table["Fan " + std::to_string(fan)];
    EXPECT_EQ(matchesOf("\\d+", name), std::vector{std::to_string(fan)}) << name;
    names.insert(name);
  }
  names.insert(table["Fastest Fan"]);
  EXPECT_EQ(names.size(), kMostFans + 1U);
}

TEST(LocalizationTables, AnEnglishFanKeepsItsName) {
  EXPECT_EQ(tableOf("en").at("Fan-%@"), "%@");
  EXPECT_EQ(tableOf("en").at("Fan 1"), "Fan 1");
  EXPECT_EQ(tableOf("en").at("Fastest Fan"), "Fastest Fan");
}

// The words that careful readers of each language asked for.
TEST(LocalizationTables, ReviewedTextsStay) {
  EXPECT_EQ(tableOf("fr").at("overview-number-of-p-cores-value"), "%d de performance");
  EXPECT_EQ(tableOf("fr").at("overview-number-of-e-cores-value"), "%d à haute efficacité");
  EXPECT_EQ(tableOf("es").at("Fan-%@"), "Ventilador: %@");
  EXPECT_EQ(tableOf("es").at("sensor-status-display-error"), "Error");
  EXPECT_THAT(tableOf("es").at("general-error-alert-message"), HasSubstr("Inténtalo"));
  EXPECT_EQ(tableOf("zh-Hans").at("overview-model-number-item"), "型号号码");
  EXPECT_EQ(tableOf("zh-Hans").at("overview-model-year-item"), "型号年份");
  EXPECT_EQ(tableOf("zh-Hans").at("invalid-sensor-key-alert-message"), "传感器键无效。");
  EXPECT_EQ(tableOf("zh-Hant").at("overview-disk-item"), "啟動磁碟");
  EXPECT_THAT(tableOf("tr").at("overview-dedicated-graphics-item"), Not(HasSubstr("arici")));
  EXPECT_THAT(tableOf("vi").at("overview-model-year-item"), Not(HasSubstr("sản xuất")));
  EXPECT_THAT(tableOf("de").at("cannot-remove-default-sensor-alert-message"),
              HasSubstr("integriert"));
}

TEST(LocalizationTables, TheListHasEachKeyOnce) {
  EXPECT_EQ(libraryKeys().size(), localizationKeys().size());
}

// Every text literal that looks like a key is in the list. Messages of errors and the texts of a
// reading are all spelt.
TEST(LocalizationTables, NoSourceLooksUpAKeyThatTheListLacks) {
  static constexpr const char* kPattern =
      "\"((sensor-status-display|sensor-source|category|group|history|overview|usage|watch|machine)"
      "-[a-z-]+"
      "|"
      "[a-z]+[a-z-]*-(alert-message|range)|"
      "(Temp|Fan|Voltage|Current|Power|usage-at-[a-z]+)-%@)\"";
  const std::set<std::string> listed = libraryKeys();
  std::set<std::string> spelt;
  for (const char* layer : {"tools", "manager", "presentation", "store", "settings", "sysinfo",
                            "sensors", "hardware"}) {
    const fs::path folder = fs::path(KELVORA_SOURCES) / layer;
    if (!fs::exists(folder)) {
      continue;
    }
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (!entry.is_regular_file() || entry.path().filename() == "KVLocalizationKeys.cpp") {
        continue;
      }
      const std::string text = contentOf(entry.path());
      for (const std::string& key : matchesOf(kPattern, text)) {
        spelt.insert(key);
        EXPECT_TRUE(listed.contains(key)) << entry.path() << ": " << key;
      }
    }
  }
  for (const std::string& key : listed) {
    if (key.ends_with("-alert-message") || key.ends_with("-range") || key.starts_with("group-") ||
        key.starts_with("sensor-source-") || key.starts_with("overview-") ||
        key.starts_with("usage-") || key.starts_with("machine-")) {
      EXPECT_TRUE(spelt.contains(key)) << key;
    }
  }
}

}  // namespace
}  // namespace kelvora
