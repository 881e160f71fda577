#include "platforms/linux/system/LinuxFiles.h"

#include <csignal>
#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platforms/linux/system/LinuxMainBundle.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using platform::LinuxFiles;
using platform::LinuxMainBundle;
using platform::matchedLocalizations;

using Texts = std::vector<std::string>;

void clearLanguages() {
  for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
    unsetenv(name);
  }
}

// The half of a program, which is then given the rights of root, would stay for ever.
TEST(LinuxFiles, ACopyThatIsCutOffLeavesNothing) {
  const TemporaryFolder folder;
  const std::string from = folder.write("tool", std::string(8192, 'x'));
  LinuxFiles files;
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit least{4096, limit.rlim_max};
  setrlimit(RLIMIT_FSIZE, &least);
  EXPECT_FALSE(files.copy(from, folder.path("copy")));
  setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 1);
  EXPECT_TRUE(files.copy(from, folder.path("copy")));
  EXPECT_EQ(std::filesystem::file_size(folder.path("copy")), 8192U);
}

TEST(LinuxFiles, AttributesOfALinkAreItsOwn) {
  const TemporaryFolder folder;
  const std::string path = folder.write("tool", "");
  chmod(path.c_str(), 0600);
  const std::string link = folder.path() + "/link";
  std::filesystem::create_symlink(path, link);
  EXPECT_EQ(LinuxFiles().attributes(link)->posixPermissions, 0777U);
  EXPECT_FALSE(LinuxFiles().attributes(link)->isRegularFile);
}

TEST(LinuxFiles, RemovesFilesAndFoldersWithWhatTheyHold) {
  const TemporaryFolder folder;
  folder.write("a/b/c", "");
  LinuxFiles files;
  EXPECT_TRUE(files.remove(folder.path() + "/a"));
  EXPECT_FALSE(files.exists(folder.path() + "/a"));
  EXPECT_FALSE(files.remove(folder.path() + "/a"));
}

TEST(LinuxFiles, AFolderIsMadeWithItsParents) {
  const TemporaryFolder folder;
  LinuxFiles files;
  EXPECT_TRUE(files.createFolder(folder.path() + "/a/b"));
  EXPECT_TRUE(files.createFolder(folder.path() + "/a/b"));
  EXPECT_FALSE(files.createFolder(folder.write("file", "") + "/b"));
  EXPECT_FALSE(files.createFolder(folder.path() + "/file"));
}

TEST(LinuxFiles, TheUsersFoldersFollowTheEnvironment) {
  const TemporaryFolder home;
  setenv("HOME", home.path().c_str(), 1);
  unsetenv("XDG_DATA_HOME");
  unsetenv("XDG_CONFIG_HOME");
  LinuxFiles files;
  EXPECT_EQ(files.documentsFolder(), home.path() + "/Documents");
  EXPECT_EQ(files.applicationSupportFolder(), home.path() + "/.local/share");
  const std::string group = home.path() + "/.local/share/group.com.kelvora";
  EXPECT_EQ(files.groupContainer("group.com.kelvora"), group);
  EXPECT_FALSE(files.exists(group)) << "a question creates nothing";
  EXPECT_EQ(files.groupContainer(""), std::nullopt);
  home.write(".config/user-dirs.dirs",
             "# comment\nXDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\nXDG_MUSIC_DIR=\"$HOME/M\"\n");
  EXPECT_EQ(files.documentsFolder(), home.path() + "/Dokumente");
  home.write(".config/user-dirs.dirs",
             "XDG_DOCUMENTS_DIR=\"\nXDG_DOCUMENTS_DIR=\"relative\"\nXDG_DOCUMENTS_DIR=\"/cut");
  EXPECT_EQ(files.documentsFolder(), home.path() + "/Documents");
  const std::string line = "XDG_DOCUMENTS_DIR=\"$HOME/Dokumente\"\n";
  const std::string filling((1 << 20) - line.size(), '\n');
  home.write(".config/user-dirs.dirs", filling + line);
  EXPECT_EQ(files.documentsFolder(), home.path() + "/Dokumente");
  home.write(".config/user-dirs.dirs", line + filling + "\n");
  EXPECT_EQ(files.documentsFolder(), home.path() + "/Documents") << "too large";
  // A named pipe without a writer does not block the call.
  std::filesystem::remove(home.path(".config/user-dirs.dirs"));
  ASSERT_EQ(mkfifo(home.path(".config/user-dirs.dirs").c_str(), 0600), 0);
  EXPECT_EQ(files.documentsFolder(), home.path() + "/Documents");
  setenv("XDG_DATA_HOME", "/data", 1);
  EXPECT_EQ(files.applicationSupportFolder(), "/data");
  setenv("XDG_DATA_HOME", "relative", 1);
  EXPECT_EQ(files.applicationSupportFolder(), home.path() + "/.local/share");
}

TEST(LinuxMainBundle, KnowsTheRunningExecutable) {
  EXPECT_EQ(std::filesystem::path(LinuxMainBundle().executablePath()).filename(),
            "platforms_tests");
}

TEST(LinuxMainBundle, ResourcesBesideTheExecutableGoBeforeInstalledOnes) {
  const TemporaryFolder folder;
  folder.write("bin/Resources/Database.momd", "");
  folder.write("share/kelvora/Database.momd", "");
  LinuxMainBundle bundle(folder.path() + "/bin/kelvora");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"),
            folder.path() + "/bin/Resources/Database.momd");
  EXPECT_EQ(bundle.resourcePath("Database.momd", ""),
            folder.path() + "/bin/Resources/Database.momd");
  EXPECT_EQ(bundle.resourcePath("Other", "momd"), std::nullopt);
  EXPECT_EQ(bundle.resourcePath("", ""), std::nullopt);
}

TEST(LinuxMainBundle, AResourceIsTheProgramsOwnBeforeItIsTheLibrarys) {
  const TemporaryFolder folder;
  const std::string library = folder.write("share/KelvoraCore/Database.momd", "");
  LinuxMainBundle bundle(folder.path() + "/bin/host");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"), library);
  const std::string own = folder.write("share/host/Database.momd", "");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"), own);
  folder.write("bin/Resources/Icon.png", "");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"), own)
      << "each resource is looked for by itself";
  const std::string beside = folder.write("bin/Resources/Database.momd", "");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"), beside);
  EXPECT_EQ(bundle.resourceFolders(),
            (Texts{folder.path("bin/Resources"), folder.path("share/host"),
                   folder.path("share/KelvoraCore")}));
}

TEST(LinuxMainBundle, TheFirstMissingResourceOfEachKindIsLoggedWithWhereItWasLookedFor) {
  LinuxMainBundle bundle("/nowhere/bin/host");
  ::testing::internal::CaptureStderr();
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(bundle.resourcePath("Database", "momd"), std::nullopt);
    EXPECT_EQ(bundle.resourcePath("de", "lproj"), std::nullopt);
    EXPECT_EQ(bundle.resourcePath("fr", "lproj"), std::nullopt);
    EXPECT_EQ(bundle.resourcePath("machines", ""), std::nullopt);
  }
  const std::string where =
      " in /nowhere/bin/Resources, /nowhere/share/host, /nowhere/share/KelvoraCore (the CMake "
      "function kelvora_add_resources puts it there)\n";
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "KelvoraCore: no Database.momd" + where + "KelvoraCore: no de.lproj" + where);
}

TEST(LinuxMainBundle, LocalisationsAreThoseOfEveryFolder) {
  const TemporaryFolder folder;
  folder.write("share/KelvoraCore/de.lproj/Localizable.strings", "");
  folder.write("share/host/pt.lproj/Localizable.strings", "");
  LinuxMainBundle bundle(folder.path() + "/bin/host");
  clearLanguages();
  setenv("LANG", "de_DE.UTF-8", 1);
  setenv("LANGUAGE", "pt:de", 1);
  EXPECT_EQ(bundle.preferredLocalizations(), (Texts{"pt", "de"}));
}

TEST(LinuxMainBundle, LocalisationsFollowTheEnvironment) {
  const TemporaryFolder folder;
  for (const char* code : {"en", "de", "zh-Hans"}) {
    folder.write(std::string("bin/Resources/") + code + ".lproj/Localizable.strings", "");
  }
  LinuxMainBundle bundle(folder.path() + "/bin/kelvora");
  clearLanguages();
  EXPECT_EQ(bundle.preferredLocalizations(), (Texts{"en"}));
  setenv("LANG", "de_DE.UTF-8", 1);
  EXPECT_EQ(bundle.preferredLocalizations(), (Texts{"de", "en"}));
  setenv("LC_ALL", "zh_CN.UTF-8", 1);
  EXPECT_EQ(bundle.preferredLocalizations(), (Texts{"zh-Hans", "en"}));
  setenv("LANGUAGE", "fr:de", 1);
  EXPECT_EQ(bundle.preferredLocalizations(), (Texts{"de", "zh-Hans", "en"}));
  setenv("LC_ALL", "C.UTF-8", 1);
  EXPECT_EQ(bundle.preferredLocalizations(), (Texts{"en"}));
}

TEST(LinuxMainBundle, LocaleNamesFitTheClosestLocalisation) {
  const Texts available = {"de", "en", "pt", "pt-BR", "zh-Hans", "zh-Hant"};
  const auto first = [&](const char* language) {
    return matchedLocalizations({language}, available).front();
  };
  EXPECT_EQ(first("de_AT.UTF-8"), "de");
  EXPECT_EQ(first("de@euro"), "de");
  EXPECT_EQ(first("pt_BR"), "pt-BR");
  EXPECT_EQ(first("pt_PT"), "pt");
  EXPECT_EQ(first("zh_TW"), "zh-Hant");
  EXPECT_EQ(first("zh_HK.UTF-8"), "zh-Hant");
  EXPECT_EQ(first("zh_CN.UTF-8"), "zh-Hans");
  EXPECT_EQ(first("fr_FR"), "en");
  EXPECT_EQ(first("C"), "en");
  EXPECT_EQ(matchedLocalizations({}, {}), (Texts{"en"}));
  EXPECT_EQ(matchedLocalizations({"de", "de_DE", "en_US"}, available), (Texts{"de", "en"}));
}

TEST(LinuxMainBundle, LocaleNamesMayHaveAScriptAndDashes) {
  const Texts available = {"de", "en", "sr", "sr-Latn", "zh-Hans", "zh-Hant"};
  const auto first = [&](const char* language) {
    return matchedLocalizations({language}, available).front();
  };
  EXPECT_EQ(first("de-DE"), "de");
  EXPECT_EQ(first("zh_Hant_TW"), "zh-Hant");
  EXPECT_EQ(first("zh_Hans_CN.UTF-8"), "zh-Hans");
  EXPECT_EQ(first("zh-Hant"), "zh-Hant");
  EXPECT_EQ(first("zh_Hans_HK"), "zh-Hans");
  EXPECT_EQ(first("zh-TW"), "zh-Hant");
  EXPECT_EQ(first("zh"), "zh-Hans");
  EXPECT_EQ(first("sr_Latn_RS"), "sr-Latn");
  EXPECT_EQ(first("sr-Cyrl-RS"), "sr");
  EXPECT_EQ(first("_"), "en");
}

TEST(LinuxMainBundle, ABundleWithoutInformationHasNoDictionary) {
  EXPECT_FALSE(LinuxMainBundle().informationDictionary("/Applications/Missing.app").has_value());
  EXPECT_FALSE(LinuxMainBundle().informationDictionary("").has_value());
}

}  // namespace
}  // namespace kelvora::testing
