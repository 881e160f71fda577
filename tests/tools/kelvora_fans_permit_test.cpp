// Installing the privileged tool by the command.
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "KelvoraCore/Platform.h"

#include "tests/support/HomeFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;

class KelvoraFansPermit : public ::testing::Test {
 protected:
  std::string tool() const { return home_.path("data/Kelvora/Kelvora SMC"); }

  HomeFolder home_;
};

TEST_F(KelvoraFansPermit, OnARecordedMacTheToolIsInstalledWithoutRights) {
  const ProgramResult result = runKelvora({"fans", "permit", "--machine", "iMac19,1"});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_EQ(result.standardOutput, tool() + ": a recorded Mac needs no rights\n");
  struct stat facts = {};
  ASSERT_EQ(lstat(tool().c_str(), &facts), 0);
  EXPECT_EQ(facts.st_mode & 06111U, 0111U) << "it can be run, and raises no rights";
  json report =
      json::parse(runKelvora({"fans", "permit", "--machine", "iMac19,1", "--json"}).standardOutput);
  EXPECT_EQ(report["machine"]["live"], false);
  report.erase("machine");
  EXPECT_EQ(report, json({{"tool", tool()}, {"needed", false}, {"granted", false}}));
}

TEST_F(KelvoraFansPermit, AToolThatCannotBeCopiedIsNamed) {
  home_.write("data/Kelvora", "a file in place of the folder");
  const ProgramResult result = runKelvora({"fans", "permit", "--machine", "iMac19,1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.standardError,
            "kelvora: " + tool() + ": could not be copied from " +
                (std::filesystem::path(KELVORA_PROGRAM).parent_path() / "Kelvora SMC").string() +
                "\n");
}

TEST_F(KelvoraFansPermit, AFolderInPlaceOfTheToolIsReported) {
  home_.write("data/Kelvora/Kelvora SMC/x", "");
  expectRefused(runKelvora({"fans", "permit", "--machine", "iMac19,1"}),
                tool() + ": is no file of its own, but a folder or a link; remove it first", 1);
}

// The default recording is shown where nothing else can be; nobody wants to write its fans.
TEST_F(KelvoraFansPermit, WithoutAMachineNothingIsInstalled) {
  if (Platform::live()->hasSensorHardware()) {
    GTEST_SKIP() << "this computer is a Mac";
  }
  expectRefused(runKelvora({"fans", "permit"}),
                "no Apple hardware here; choose a recorded Mac first: kelvora machine use "
                "MacBookPro15,1");
  EXPECT_FALSE(std::filesystem::exists(tool()));
}

}  // namespace
}  // namespace kelvora::testing
