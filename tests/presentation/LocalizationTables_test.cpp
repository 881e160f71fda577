// The command-line host's tables against the keys that the library looks up.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/regex.h>

#include "KelvoraCore/KVLocalizationKeys.h"

#include "presentation/StringsTable.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;

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

class EveryLanguage : public ::testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Localization, EveryLanguage,
                         ::testing::Values("en", "fr", "de", "es", "tr", "vi", "zh-Hans",
                                           "zh-Hant"));

TEST_P(EveryLanguage, HasATextForEachKeyAndNoOther) {
  std::set<std::string> keys;
  for (const auto& [key, text] : tableOf(GetParam())) {
    keys.insert(key);
    EXPECT_FALSE(text.empty()) << key;
    EXPECT_NE(text, key);
  }
  EXPECT_EQ(keys, libraryKeys());
}

TEST_P(EveryLanguage, KeepsThePlaceholdersOfEachFormat) {
  for (const auto& [key, text] : tableOf(GetParam())) {
    const std::string expected = key.ends_with("-%@") ? "%@" : key.ends_with("-value") ? "%d" : "";
    EXPECT_EQ(placeholdersOf(text), expected) << key;
  }
}

TEST_P(EveryLanguage, SaysThingsInItsOwnWords) {
  if (std::string(GetParam()) == "en") {
    return;
  }
  const StringsTable english = tableOf("en");
  for (const auto& [key, text] : tableOf(GetParam())) {
    const bool sameWordInBoth = text == "Normal";
    EXPECT_TRUE(text != english.at(key) || sameWordInBoth) << key << ": " << text;
  }
}

TEST(LocalizationTables, TheListHasEachKeyOnce) {
  EXPECT_EQ(libraryKeys().size(), localizationKeys().size());
}

// Every text literal of the library that looks like a key is in the list, and the messages of
// errors are all spelt.
TEST(LocalizationTables, NoSourceLooksUpAKeyThatTheListLacks) {
  static constexpr const char* kPattern =
      "\"((sensor-status-display|category|overview)-[a-z-]+|[a-z-]+-alert-message|"
      "(Temp|Fan|Voltage|Current|Power)-%@)\"";
  const std::set<std::string> listed = libraryKeys();
  std::set<std::string> spelt;
  for (const char* layer :
       {"presentation", "store", "settings", "sysinfo", "sensors", "hardware"}) {
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
    if (key.ends_with("-alert-message")) {
      EXPECT_TRUE(spelt.contains(key)) << key;
    }
  }
}

}  // namespace
}  // namespace kelvora
