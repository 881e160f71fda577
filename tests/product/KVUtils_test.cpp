#include "KelvoraCore/KVUtils.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class FixedBundle : public platform::MainBundle {
 public:
  std::string executablePath() override {
    return "/Applications/Kelvora.app/Contents/MacOS/Kelvora";
  }
  std::optional<std::string> resourcePath(std::string_view, std::string_view) override {
    return std::nullopt;
  }
  std::vector<std::string> preferredLocalizations() override { return {}; }
  std::optional<PropertyListValue::Dictionary> informationDictionary(const std::string&) override {
    return std::nullopt;
  }
};

class KVUtilsPaths : public ::testing::Test {
 protected:
  KVUtilsPaths()
      : platform_(recordedPlatform({})),
        files_(wrapPort<ForwardingFiles>(platform_->ports().files)) {
    platform_->ports().mainBundle = std::make_unique<FixedBundle>();
    files_.onDocumentsFolder = [] { return "/Users/anna/Documents"; };
    files_.onApplicationSupportFolder = [this] { return supportFolder_; };
    files_.onExists = [this](const std::string&) { return exists_; };
    files_.onCreateFolder = [this](const std::string& path) {
      created_.push_back(path);
      return false;
    };
  }

  std::unique_ptr<Platform> platform_;
  ForwardingFiles& files_;
  std::optional<std::string> supportFolder_ = "/Users/anna/Library/Application Support";
  bool exists_ = true;
  std::vector<std::string> created_;
};

TEST_F(KVUtilsPaths, AreTheUsersFoldersAndTheExecutablesFolderWithTheProgramsNames) {
  EXPECT_EQ(KVUtils::documentsPath(*platform_), "/Users/anna/Documents");
  const std::string support = "/Users/anna/Library/Application Support/Kelvora";
  EXPECT_EQ(KVUtils::applicationSupportPath(*platform_), support);
  EXPECT_EQ(KVUtils::smcExePath(*platform_), support + "/Kelvora SMC");
  EXPECT_EQ(KVUtils::menuAppPath(*platform_), support + "/Kelvora Menu.app");
  EXPECT_EQ(KVUtils::helperAppPath(*platform_), support + "/Kelvora Helper.app");
  const std::string carried = "/Applications/Kelvora.app/Contents/MacOS";
  EXPECT_EQ(KVUtils::smcExeSrcPath(*platform_), carried + "/Kelvora SMC");
  EXPECT_EQ(KVUtils::menuAppSrcPath(*platform_), carried + "/Kelvora Menu.app");
  EXPECT_EQ(KVUtils::helperAppSrcPath(*platform_), carried + "/Kelvora Helper.app");
}

TEST_F(KVUtilsPaths, JoinTheSupportFolderWithOneSlash) {
  supportFolder_ = "/support/";
  EXPECT_EQ(KVUtils::applicationSupportPath(*platform_), "/support/Kelvora");
}

TEST_F(KVUtilsPaths, CreateTheSupportFolderOnlyWhenItIsMissingAndIgnoreAFailure) {
  EXPECT_TRUE(KVUtils::applicationSupportPath(*platform_));
  EXPECT_THAT(created_, IsEmpty());
  exists_ = false;
  EXPECT_EQ(KVUtils::smcExePath(*platform_),
            "/Users/anna/Library/Application Support/Kelvora/Kelvora SMC");
  EXPECT_THAT(created_, ElementsAre("/Users/anna/Library/Application Support/Kelvora"));
}

TEST_F(KVUtilsPaths, LeadToAGroupContainerThatExistsOrNowhere) {
  std::optional<std::string> container = "/Users/anna/Library/Group Containers/group.com.kelvora";
  bool isCreated = true;
  files_.onGroupContainer = [&](const std::string& group) {
    return group == "group.com.kelvora" ? container : std::nullopt;
  };
  files_.onCreateFolder = [&](const std::string& path) {
    created_.push_back(path);
    return isCreated;
  };
  EXPECT_EQ(KVUtils::groupContainerLocation(*platform_), container);
  EXPECT_THAT(created_, IsEmpty());
  EXPECT_EQ(KVUtils::groupContainerPath(*platform_), container);
  EXPECT_THAT(created_, ElementsAre(container.value()));
  isCreated = false;
  EXPECT_EQ(KVUtils::groupContainerPath(*platform_), std::nullopt);
  container.reset();
  created_.clear();
  EXPECT_EQ(KVUtils::groupContainerLocation(*platform_), std::nullopt);
  EXPECT_EQ(KVUtils::groupContainerPath(*platform_), std::nullopt);
  EXPECT_THAT(created_, IsEmpty());
}

TEST_F(KVUtilsPaths, ReturnNoneWithoutAFolderOfTheSystem) {
  supportFolder_.reset();
  exists_ = false;
  EXPECT_EQ(KVUtils::applicationSupportPath(*platform_), std::nullopt);
  EXPECT_EQ(KVUtils::smcExePath(*platform_), std::nullopt);
  EXPECT_EQ(KVUtils::menuAppPath(*platform_), std::nullopt);
  EXPECT_EQ(KVUtils::helperAppPath(*platform_), std::nullopt);
  EXPECT_THAT(created_, IsEmpty());
  files_.onDocumentsFolder = [] { return std::nullopt; };
  EXPECT_EQ(KVUtils::documentsPath(*platform_), std::nullopt);
}

TEST_F(KVUtilsPaths, AreThoseOfTheCurrentPlatformByDefault) {
  Platform& platform = *platform_;
  Platform::install(std::move(platform_));
  EXPECT_EQ(KVUtils::documentsPath(), KVUtils::documentsPath(platform));
  EXPECT_EQ(KVUtils::applicationSupportPath(), KVUtils::applicationSupportPath(platform));
  EXPECT_EQ(KVUtils::groupContainerLocation(), KVUtils::groupContainerLocation(platform));
  EXPECT_EQ(KVUtils::smcExePath(), KVUtils::smcExePath(platform));
  EXPECT_EQ(KVUtils::smcExeSrcPath(), KVUtils::smcExeSrcPath(platform));
  EXPECT_EQ(KVUtils::menuAppPath(), KVUtils::menuAppPath(platform));
  EXPECT_EQ(KVUtils::menuAppSrcPath(), KVUtils::menuAppSrcPath(platform));
  EXPECT_EQ(KVUtils::helperAppPath(), KVUtils::helperAppPath(platform));
  EXPECT_EQ(KVUtils::helperAppSrcPath(), KVUtils::helperAppSrcPath(platform));
}

}  // namespace
}  // namespace kelvora::testing
