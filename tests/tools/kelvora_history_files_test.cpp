// The files that `history` writes.

#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/tools/KelvoraHistory.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST_F(KelvoraHistory, APictureIsWrittenWholeOrNotAtAll) {
  recordDay();
  const std::string picture = home_.path("a.svg");
  EXPECT_EQ(text({"TC0P", "--range", "day", "--svg", picture}), "");
  const std::string first = home_.read("a.svg");
  EXPECT_THAT(first, AllOf(StartsWith("<?xml"), EndsWith("</svg>\n")));
  home_.write("a.svg", "old");
  chmod(picture.c_str(), 0640);
  text({"TC0P", "--range", "day", "--svg", picture});
  EXPECT_THAT(home_.read("a.svg"), EndsWith("</svg>\n"));
  struct stat status = {};
  stat(picture.c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  fs::create_symlink("a.svg", home_.path("link.svg"));
  text({"TC0P", "--range", "week", "--svg", home_.path("link.svg")});
  EXPECT_TRUE(fs::is_symlink(home_.path("link.svg")));
  EXPECT_THAT(home_.read("a.svg"), HasSubstr("Last 7 days"));
  std::size_t entries = 0;
  for (const auto& entry : fs::directory_iterator(home_.path())) {
    entries += entry.path().filename().string().find(".svg") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(entries, 2U) << "nothing is left beside it";
}

TEST_F(KelvoraHistory, APictureThatCannotBeWrittenIsAnError) {
  recordDay();
  expectRefusal({"TC0P", "--svg", home_.path("none/a.svg")}, 1,
                "none/a.svg: could not be written: No such file or directory");
  fs::create_directory(home_.path("folder"));
  expectRefusal({"TC0P", "--svg", home_.path("folder")}, 1,
                "folder: could not be written: Is a directory");
  expectRefusal({"TC0P", "--svg", "/dev/full"}, 1,
                "/dev/full: could not be written: No space left on device");
  EXPECT_TRUE(fs::is_character_file("/dev/full"));
  home_.write("a.svg", "old");
  const ProgramResult result = runProgram(
      "/bin/sh",
      {"-c", "( trap '' XFSZ; ulimit -f 0; exec \"$0\" history TC0P --svg \"$1\" ) 2>&1 | cat",
       KELVORA_PROGRAM, home_.path("a.svg")});
  EXPECT_THAT(result.standardOutput, HasSubstr("a.svg: could not be written: File too large"));
  EXPECT_EQ(home_.read("a.svg"), "old");
  for (const auto& entry : fs::directory_iterator(home_.path())) {
    EXPECT_THAT(entry.path().string(), Not(EndsWith(".new")));
  }
}

TEST_F(KelvoraHistory, AReportThatCannotBeWrittenIsAnError) {
  recordDay();
  for (const char* form : {"", "--json", "--csv", "--svg=-"}) {
    const ProgramResult result = runProgram(
        "/bin/sh", {"-c", "exec \"$0\" history TC0P $1 > /dev/full", KELVORA_PROGRAM, form});
    EXPECT_EQ(result.status, 1) << form;
    EXPECT_THAT(result.standardError, HasSubstr("could not be written")) << form;
  }
}

}  // namespace
}  // namespace kelvora::testing
