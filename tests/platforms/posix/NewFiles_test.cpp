#include <filesystem>

#include <sys/stat.h>

#include "ports/NewFile.h"
#include "tests/support/HomeOfAnotherAccount.h"

namespace kelvora::platform {
namespace {

namespace fs = std::filesystem;

fs::perms modeOf(const std::string& path) { return fs::symlink_status(path).permissions(); }

TEST(NewFile, AFileForItsOwnerHasThatModeWhateverTheMask) {
  const testing::TemporaryFolder folder;
  const mode_t before = umask(0);
  const std::error_code error = createNewFile(folder.path("file"), NewFileAccess::kOwnerOnly);
  umask(before);
  EXPECT_FALSE(error);
  EXPECT_EQ(modeOf(folder.path("file")), fs::perms(0600));
}

TEST(NewFile, AUsualFileAndUsualFoldersFollowTheMask) {
  const testing::TemporaryFolder folder;
  const mode_t before = umask(0027);
  EXPECT_FALSE(createNewFolders(folder.path("a/b")));
  EXPECT_FALSE(createNewFile(folder.path("a/b/file"), NewFileAccess::kUsual));
  umask(before);
  EXPECT_EQ(modeOf(folder.path("a")), fs::perms(0750));
  EXPECT_EQ(modeOf(folder.path("a/b")), fs::perms(0750));
  EXPECT_EQ(modeOf(folder.path("a/b/file")), fs::perms(0640));
}

TEST(NewFile, WhatExistsStaysAsItIs) {
  const testing::TemporaryFolder folder;
  folder.write("file", "content");
  EXPECT_EQ(createNewFile(folder.path("file"), NewFileAccess::kUsual), std::errc::file_exists);
  EXPECT_EQ(createNewFile(folder.path(), NewFileAccess::kUsual), std::errc::file_exists);
  EXPECT_EQ(folder.read("file"), "content");
  EXPECT_FALSE(createNewFolders(folder.path()));
}

TEST(NewFile, IsCreatedWhereALinkLeadsTo) {
  const testing::TemporaryFolder folder;
  fs::create_directory(folder.path("real"));
  fs::create_symlink("real/file", folder.path("link"));
  EXPECT_FALSE(createNewFile(folder.path("link"), NewFileAccess::kOwnerOnly));
  EXPECT_TRUE(fs::is_symlink(folder.path("link")));
  EXPECT_EQ(modeOf(folder.path("real/file")), fs::perms(0600));
}

TEST(NewFile, AFailureNamesTheSystemsReason) {
  const testing::TemporaryFolder folder;
  folder.write("file", "");
  EXPECT_EQ(createNewFile(folder.path("none/file"), NewFileAccess::kUsual),
            std::errc::no_such_file_or_directory);
  EXPECT_EQ(createNewFolders(folder.path("file/folder")), std::errc::not_a_directory);
}

class NewFileOfAnotherAccount : public testing::HomeOfAnotherAccount {};

TEST_F(NewFileOfAnotherAccount, WhatRootCreatesBelongsToTheOwnerOfItsFolder) {
  EXPECT_FALSE(createNewFolders(home_.path("a/b")));
  EXPECT_FALSE(createNewFile(home_.path("a/b/own"), NewFileAccess::kOwnerOnly));
  EXPECT_FALSE(createNewFile(home_.path("usual"), NewFileAccess::kUsual));
  EXPECT_EQ(entriesOfTheAccount(), 4U);
}

TEST_F(NewFileOfAnotherAccount, WhatALinkLeadsToBelongsToTheOwnerOfThatFolder) {
  const testing::TemporaryFolder elsewhere;
  fs::create_symlink(elsewhere.path("file"), home_.path("link"));
  EXPECT_FALSE(createNewFile(home_.path("link"), NewFileAccess::kOwnerOnly));
  struct stat facts = {};
  ASSERT_EQ(stat(elsewhere.path("file").c_str(), &facts), 0);
  EXPECT_EQ(facts.st_uid, geteuid());
}

}  // namespace
}  // namespace kelvora::platform
