#include "KelvoraCore/KVLocalized.h"

#include <atomic>
#include <filesystem>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/support/ResourceLimit.h"
#include "tests/support/TestMac.h"

namespace kelvora {
namespace {

using KVLocalized::localizedStringForKey;

class Localized : public ::testing::Test {
 protected:
  Localized() {
    mac_.addStrings("en", "\"category-fan-name\" = \"Fans\";");
    mac_.addStrings("de", "\"category-fan-name\" = \"Lüfter\";");
  }
  std::optional<std::string> text(std::string_view key) {
    return localizedStringForKey(key, mac_.settings, *mac_.platform);
  }
  std::optional<std::string> textIn(std::string_view language, std::string_view key) {
    return localizedStringForKey(key, language, *mac_.platform);
  }

  testing::TestMac mac_;
};

TEST_F(Localized, TheChosenLanguageDecidesFromTheNextCallOn) {
  EXPECT_EQ(text("category-fan-name"), "Fans");
  mac_.settings.setCurrentLanguage("de");
  EXPECT_EQ(text("category-fan-name"), "Lüfter");
}

TEST_F(Localized, WithoutAChosenLanguageTheSystemsTableIsUsed) {
  mac_.settings.setCurrentLanguage("");
  mac_.bundle.localizations = {{"de", "en"}};
  EXPECT_EQ(text("category-fan-name"), "Lüfter");
  EXPECT_EQ(text("unknown"), "unknown");
  mac_.bundle.localizations = {{"ja", "de"}};  // only the first counts
  EXPECT_EQ(text("category-fan-name"), "category-fan-name");
  mac_.bundle.localizations = {std::vector<std::string>()};
  EXPECT_EQ(text("category-fan-name"), "category-fan-name");
}

TEST_F(Localized, AChosenLanguageWithoutAFolderGivesNone) {
  mac_.settings.setCurrentLanguage("tr");
  EXPECT_FALSE(text("category-fan-name"));
  EXPECT_FALSE(textIn("tr", "category-fan-name"));
}

TEST_F(Localized, AKeyThatIsMissingFromTheTableComesBack) {
  EXPECT_EQ(textIn("de", "category-power-name"), "category-power-name");
  EXPECT_EQ(textIn("de", ""), "");
}

TEST_F(Localized, ATextThatTheTableLeavesEmptyIsEmpty) {
  mac_.addStrings("fr", "\"category-fan-name\" = \"\";");
  EXPECT_EQ(textIn("fr", "category-fan-name"), "");
}

TEST_F(Localized, AFolderWithoutATableGivesTheKey) {
  std::filesystem::create_directories(mac_.resources.path("fr.lproj"));
  EXPECT_EQ(textIn("fr", "category-fan-name"), "category-fan-name");
}

TEST_F(Localized, ATableThatIsNotAFileCountsAsEmptyAndIsNotWaitedFor) {
  std::filesystem::create_directories(mac_.resources.path("fr.lproj"));
  ASSERT_EQ(mkfifo(mac_.resources.path("fr.lproj/Localizable.strings").c_str(), 0600), 0);
  EXPECT_EQ(textIn("fr", "category-fan-name"), "category-fan-name");
}

TEST_F(Localized, TextsAreLookedUpOnAnyThread) {
  constexpr int kThreads = 4;
  constexpr int kLanguages = 60;
  const auto language = [](int thread, int number) {
    return "x" + std::to_string(thread * kLanguages + number);
  };
  for (int number = 0; number < kThreads * kLanguages; ++number) {
    mac_.addStrings(language(0, number), "a = b;");
  }
  std::atomic<int> right = 0;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int number = 0; number < kLanguages; ++number) {
        right += textIn(language(thread, number), "a") == "b" ? 1 : 0;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(right, kThreads * kLanguages);
}

TEST_F(Localized, ADamagedTableCountsAsEmptyAndIsLoggedOnce) {
  mac_.addStrings("fr", "\"category-fan-name\" = \"Ventilateurs\"\n\"b\" = \"c\";");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(textIn("fr", "category-fan-name"), "category-fan-name");
  EXPECT_EQ(textIn("fr", "b"), "b");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Localization: " + mac_.resources.path("fr.lproj") +
                "/Localizable.strings: line 2: ';' expected\n");
}

TEST_F(Localized, AChangedTableIsReadAgain) {
  EXPECT_EQ(textIn("de", "category-fan-name"), "Lüfter");
  mac_.addStrings("de", "\"category-fan-name\" = \"Gebläse\";");
  std::filesystem::last_write_time(
      mac_.resources.path("de.lproj/Localizable.strings"),
      std::filesystem::file_time_type::clock::now() + std::chrono::seconds(5));
  EXPECT_EQ(textIn("de", "category-fan-name"), "Gebläse");
}

TEST_F(Localized, AnOlderTableInPlaceOfTheOneReadIsReadAgain) {
  EXPECT_EQ(textIn("de", "category-fan-name"), "Lüfter");
  mac_.addStrings("de", "\"category-fan-name\" = \"Gebläse\";");
  std::filesystem::last_write_time(
      mac_.resources.path("de.lproj/Localizable.strings"),
      std::filesystem::file_time_type::clock::now() - std::chrono::hours(24));
  EXPECT_EQ(textIn("de", "category-fan-name"), "Gebläse");
}

TEST_F(Localized, ATableWithTheSizeAndTimeOfTheOneReadIsReadAgain) {
  const std::string path = mac_.resources.path("de.lproj/Localizable.strings");
  const auto time = std::filesystem::last_write_time(path);
  EXPECT_EQ(textIn("de", "category-fan-name"), "Lüfter");
  mac_.addStrings("other", "\"category-fan-name\" = \"Gebäud\";");
  const std::string other = mac_.resources.path("other.lproj/Localizable.strings");
  ASSERT_EQ(std::filesystem::file_size(other), std::filesystem::file_size(path));
  std::filesystem::last_write_time(other, time);
  std::filesystem::rename(other, path);
  EXPECT_EQ(textIn("de", "category-fan-name"), "Gebäud");
}

TEST_F(Localized, ATableThatCannotBeReadForAMomentIsLoggedOnceAndTriedAgain) {
  // The sanitizer's check of a class opens a pipe once; a first reading has it done before the
  // limit.
  EXPECT_EQ(textIn("en", "category-fan-name"), "Fans");
  ::testing::internal::CaptureStderr();
  {
    const testing::ResourceLimit descriptors(RLIMIT_NOFILE, 3);
    EXPECT_EQ(textIn("de", "category-fan-name"), "category-fan-name");
    EXPECT_EQ(textIn("de", "category-fan-name"), "category-fan-name");
  }
  EXPECT_EQ(textIn("de", "category-fan-name"), "Lüfter");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Localization: " + mac_.resources.path("de.lproj") +
                "/Localizable.strings: Too many open files\n");
}

TEST_F(Localized, WhileAChangedTableCannotBeReadItsLastTextsRemain) {
  EXPECT_EQ(textIn("de", "category-fan-name"), "Lüfter");
  mac_.addStrings("de", "\"category-fan-name\" = \"Gebläse\";");
  ::testing::internal::CaptureStderr();
  {
    const testing::ResourceLimit descriptors(RLIMIT_NOFILE, 3);
    EXPECT_EQ(textIn("de", "category-fan-name"), "Lüfter");
  }
  EXPECT_NE(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(textIn("de", "category-fan-name"), "Gebläse");
}

TEST_F(Localized, TextsShowEveryChangeBeforeThemAndNoneAfterThem) {
  mac_.settings.setCurrentLanguage("de");
  const KVLocalized::Texts german(mac_.settings, *mac_.platform);
  mac_.settings.setCurrentLanguage("en");
  std::filesystem::remove_all(mac_.resources.path("de.lproj"));
  EXPECT_EQ(german.localizedStringForKey("category-fan-name"), "Lüfter");
  EXPECT_EQ(german.localizedStringForKey("unknown"), "unknown");
  const KVLocalized::Texts english(mac_.settings, *mac_.platform);
  EXPECT_EQ(english.localizedStringForKey("category-fan-name"), "Fans");
}

TEST_F(Localized, ReturnsNoneForALanguageWithoutAFolder) {
  mac_.settings.setCurrentLanguage("tr");
  const KVLocalized::Texts texts(mac_.settings, *mac_.platform);
  EXPECT_FALSE(texts.localizedStringForKey("category-fan-name"));
}

}  // namespace
}  // namespace kelvora
