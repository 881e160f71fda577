#include "platforms/macos/system/MacMainBundle.h"

#include <filesystem>

#include "platforms/posix/ResourceFolders.h"
#include "tests/macos/frameworks/SystemTest.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacMainBundle;
using Texts = std::vector<std::string>;

class MacMainBundleTest : public SystemTest {
 protected:
  MacMainBundleTest() {
    Bundles::shared().executable = folder.path("Kelvora.app/Contents/MacOS/Kelvora");
    Bundles::shared().resources = folder.path("Kelvora.app/Contents/Resources");
    Bundles::shared().information = PropertyListValue::Dictionary{{"CFBundleVersion", "412"}};
  }
  std::string resource(const std::string& file) const {
    return folder.write("Kelvora.app/Contents/Resources/" + file, "");
  }

  const TemporaryFolder folder;
  MacMainBundle bundle{folder.path("KelvoraCore.framework/Versions/A/KelvoraCore")};
};

TEST_F(MacMainBundleTest, TheExecutableIsThatOfTheBundle) {
  EXPECT_EQ(bundle.executablePath(), *Bundles::shared().executable);
  ledger.failCall("CFBundleCopyExecutableURL");
  EXPECT_EQ(bundle.executablePath(), "");
}

TEST_F(MacMainBundleTest, AResourceIsAskedOfTheBundleByNameAndType) {
  const std::string model = resource("Database.momd/model.json");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"),
            folder.path("Kelvora.app/Contents/Resources/Database.momd"));
  EXPECT_EQ(bundle.resourcePath("Database.momd", ""),
            folder.path("Kelvora.app/Contents/Resources/Database.momd"));
  EXPECT_EQ(takeCalls(), (Calls{"CFBundleCopyResourceURL(\"Database\", \"momd\", null)",
                                "CFBundleCopyResourceURL(\"Database.momd\", null, null)"}));
  EXPECT_EQ(bundle.resourcePath("", "momd"), std::nullopt);
}

TEST_F(MacMainBundleTest, AToolWithoutABundleFindsWhatIsInstalledWithIt) {
  Bundles::shared().executable = folder.path("bin/kelvora");
  Bundles::shared().resources = folder.path("bin");
  const std::string own = folder.write("share/kelvora/Database.momd", "");
  folder.write("share/KelvoraCore/Database.momd", "");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"), own);
  EXPECT_EQ(bundle.resourceFolders(),
            (Texts{folder.path("bin"), folder.path("bin/Resources"), folder.path("share/kelvora"),
                   folder.path("share/KelvoraCore"),
                   folder.path("KelvoraCore.framework/Versions/A/Resources")}));
}

TEST_F(MacMainBundleTest, WhatTheBundleLacksIsInTheFramework) {
  const std::string framework = "KelvoraCore.framework/Versions/A/Resources/";
  const std::string model = folder.write(framework + "Database.momd", "");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"), model);
  folder.write(framework + "de.lproj/Localizable.strings", "");
  Bundles::shared().languages = {"de"};
  EXPECT_EQ(bundle.preferredLocalizations(), Texts{"de"});
  resource("Database.momd");
  EXPECT_EQ(bundle.resourcePath("Database", "momd"),
            folder.path("Kelvora.app/Contents/Resources/Database.momd"));
}

TEST_F(MacMainBundleTest, AProgramWithTheStaticLibraryHasItsOwnResourcesOnly) {
  Bundles::shared().executable = std::filesystem::read_symlink("/proc/self/exe").string();
  Bundles::shared().resources = std::nullopt;
  EXPECT_EQ(MacMainBundle().resourceFolders(),
            platform::resourceFoldersOf(*Bundles::shared().executable));
}

TEST_F(MacMainBundleTest, TheFirstMissingResourceOfEachTypeIsLogged) {
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(bundle.resourcePath("Database", "momd"), std::nullopt);
  EXPECT_EQ(bundle.resourcePath("Other", "momd"), std::nullopt);
  EXPECT_EQ(bundle.resourcePath("machines", ""), std::nullopt);
  const std::string log = ::testing::internal::GetCapturedStderr();
  EXPECT_TRUE(log.starts_with("KelvoraCore: no Database.momd in " +
                              folder.path("Kelvora.app/Contents/Resources") + ", "))
      << log;
  EXPECT_EQ(log.find("Other"), std::string::npos);
  EXPECT_EQ(log.find("machines"), std::string::npos);
}

TEST_F(MacMainBundleTest, LocalisationsAreTheBundlesInTheOrderOfTheUser) {
  for (const char* code : {"de", "en", "zh-Hant"}) {
    resource(std::string(code) + ".lproj/Localizable.strings");
  }
  Bundles::shared().languages = {"zh-Hant", "fr", "en"};
  EXPECT_EQ(bundle.preferredLocalizations(), (Texts{"zh-Hant", "en"}));
  for (const char* function : {"CFBundleCopyPreferredLocalizationsFromArray",
                               "CFArrayCreateMutable", "CFBundleCopyBundleLocalizations"}) {
    ledger.failCall(function);
    EXPECT_TRUE(bundle.preferredLocalizations().empty()) << function;
  }
  EXPECT_EQ(bundle.preferredLocalizations(), (Texts{"zh-Hant", "en"}));
}

TEST_F(MacMainBundleTest, TheInformationOfTheRunningProgramStaysTheSystems) {
  EXPECT_EQ(bundle.informationDictionary(""),
            (PropertyListValue::Dictionary{{"CFBundleVersion", "412"}}));
  ledger.failCall("CFBundleGetInfoDictionary");
  EXPECT_EQ(bundle.informationDictionary(""), std::nullopt);
}

TEST_F(MacMainBundleTest, TheInformationOfAnotherBundleIsReadAndTheBundleReleased) {
  Bundles::shared().others["/Applications/Kelvora Menu.app"] =
      PropertyListValue::Dictionary{{"CFBundleVersion", "7"}};
  const std::string path = "/Applications/Kelvora Menu.app";
  EXPECT_EQ(bundle.informationDictionary(path),
            (PropertyListValue::Dictionary{{"CFBundleVersion", "7"}}));
  EXPECT_EQ(takeCalls(), (Calls{"CFBundleCreate(\"/Applications/Kelvora Menu.app\")",
                                "CFBundleGetInfoDictionary()"}));
  EXPECT_EQ(bundle.informationDictionary("/Applications/None.app"), std::nullopt);
  for (const char* function :
       {"CFURLCreateFromFileSystemRepresentation", "CFBundleCreate", "CFBundleGetInfoDictionary"}) {
    ledger.failCall(function);
    EXPECT_EQ(bundle.informationDictionary(path), std::nullopt) << function;
  }
}

}  // namespace
}  // namespace kelvora::testing::mac
