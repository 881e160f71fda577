#include "ports/Files.h"

#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>

#include <sys/stat.h>

#include "tests/platforms/shared/PortsTest.h"
#include "tests/support/TextBytes.h"

namespace kelvora::testing {
namespace {

using Texts = std::vector<std::string>;

class FilesPort : public PortsTest {
 protected:
  platform::Files& files() { return *ports.files; }
};

TEST_F(FilesPort, ACopyKeepsThePermissionsAndReplacesNothing) {
  const std::string from = folder.write("tool", "content");
  chmod(from.c_str(), 0755);
  const std::string to = folder.path("copy");
  EXPECT_TRUE(files().copy(from, to));
  EXPECT_EQ(folder.read("copy"), "content");
  EXPECT_EQ(files().attributes(to)->posixPermissions, 0755U);
  EXPECT_FALSE(files().copy(from, to));
  EXPECT_FALSE(files().copy(folder.path("missing"), folder.path("other")));
  EXPECT_FALSE(files().exists(folder.path("other")));
}

TEST_F(FilesPort, AttributesAreAccountNamesAndTwelvePermissionBits) {
  const std::string path = folder.write("tool", "");
  chmod(path.c_str(), 06555);
  const auto attributes = files().attributes(path);
  EXPECT_EQ(attributes->posixPermissions, 06555U);
  EXPECT_FALSE(attributes->ownerAccountName.empty());
  EXPECT_FALSE(attributes->groupOwnerAccountName.empty());
  EXPECT_FALSE(files().attributes(folder.path("missing")).has_value());
}

TEST_F(FilesPort, AttributesSayWhetherItIsAFileAndHowManyNamesItHas) {
  const std::string path = folder.write("tool", "");
  EXPECT_TRUE(files().attributes(path)->isRegularFile);
  EXPECT_EQ(files().attributes(path)->names, 1U);
  std::filesystem::create_hard_link(path, folder.path("second"));
  EXPECT_EQ(files().attributes(path)->names, 2U);
  std::filesystem::create_symlink(path, folder.path("link"));
  EXPECT_FALSE(files().attributes(folder.path("link"))->isRegularFile);
  EXPECT_FALSE(files().attributes(folder.path())->isRegularFile);
}

TEST_F(FilesPort, AReplacedFileHasTheNewBytesAndIsItsOwnersOnly) {
  const std::string path = folder.write("lease", "old and longer");
  std::error_code error;
  EXPECT_TRUE(files().replace(path, textBytes("new"), error));
  EXPECT_FALSE(error);
  EXPECT_EQ(folder.read("lease"), "new");
  EXPECT_EQ(files().attributes(path)->posixPermissions, 0600U);
  EXPECT_EQ(files().list(folder.path())->size(), 1U);
}

TEST_F(FilesPort, AFileThatCannotBeReplacedStaysAsItWas) {
  folder.write("lease/inner", "");
  std::error_code error;
  EXPECT_FALSE(files().replace(folder.path("lease"), textBytes("new"), error));
  EXPECT_EQ(error, std::errc::is_a_directory);
  EXPECT_EQ(files().list(folder.path()), Texts{"lease"});
  EXPECT_FALSE(files().replace(folder.path("missing/lease"), textBytes("new"), error));
  EXPECT_EQ(error, std::errc::no_such_file_or_directory);
}

TEST_F(FilesPort, AFolderIsListedInOrderWithoutThoseBelow) {
  folder.write("b", "");
  folder.write("a/inner", "");
  EXPECT_EQ(files().list(folder.path()), (Texts{"a", "b"}));
  EXPECT_EQ(files().list(folder.path("b")), std::nullopt);
  EXPECT_EQ(files().list(folder.path("missing")), std::nullopt);
}

}  // namespace
}  // namespace kelvora::testing
