#include "platforms/macos/system/MacFiles.h"

#include <cstdlib>
#include <filesystem>

#include "platforms/shared/TrustedEnvironment.h"
#include "tests/macos/frameworks/Posix.h"
#include "tests/macos/frameworks/SystemTest.h"
#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacFiles;
using platform::trustedEnvironmentText;

class MacFilesTest : public SystemTest {
 protected:
  const TemporaryFolder folder;
  MacFiles files;
};

TEST_F(MacFilesTest, ACopyReplacesNothing) {
  const std::string from = folder.write("tool", "content");
  const std::string to = folder.path("copy");
  EXPECT_TRUE(files.copy(from, to));
  EXPECT_TRUE(files.exists(to));
  EXPECT_FALSE(files.copy(from, to));
  EXPECT_FALSE(files.copy(folder.path("missing"), folder.path("other")));
  ledger.failCall("copyfile");
  EXPECT_FALSE(files.copy(from, folder.path("third")));
  EXPECT_FALSE(files.exists(folder.path("third")));
  ledger.failCall("renamex_np");
  EXPECT_FALSE(files.copy(from, folder.path("fourth")));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 2);
}

TEST_F(MacFilesTest, TheUsersFoldersAreThoseOfTheSystem) {
  Cocoa::shared().documents = "/Users/anna/Documents";
  Cocoa::shared().applicationSupport = "/Users/anna/Library/Application Support";
  Cocoa::shared().containers["group.com.kelvora"] = "/Users/anna/Library/Group Containers/k";
  EXPECT_EQ(files.documentsFolder(), "/Users/anna/Documents");
  EXPECT_EQ(files.applicationSupportFolder(), "/Users/anna/Library/Application Support");
  EXPECT_EQ(files.groupContainer("group.com.kelvora"), "/Users/anna/Library/Group Containers/k");
  EXPECT_EQ(files.groupContainer(""), std::nullopt);
  for (const char* function : {"documentsFolder", "applicationSupportFolder", "groupContainer"}) {
    ledger.failCallsFrom(function);
  }
  EXPECT_EQ(files.documentsFolder(), std::nullopt);
  EXPECT_EQ(files.applicationSupportFolder(), std::nullopt);
  EXPECT_EQ(files.groupContainer("group.com.kelvora"), std::nullopt);
}

TEST_F(MacFilesTest, TheEnvironmentIsNotTrustedWithRaisedRights) {
  setenv("KELVORA_TEST", "text", 1);
  EXPECT_EQ(trustedEnvironmentText("KELVORA_TEST"), "text");
  EXPECT_EQ(trustedEnvironmentText("KELVORA_UNSET"), std::nullopt);
  setRaisedRights(true);
  EXPECT_EQ(trustedEnvironmentText("KELVORA_TEST"), std::nullopt);
  setRaisedRights(false);
}

}  // namespace
}  // namespace kelvora::testing::mac
