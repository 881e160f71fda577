// The end of all stored data in the terminal, with real files.
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::HasSubstr;

class KelvoraReset : public ::testing::Test {
 protected:
  KelvoraReset() {
    setenv("XDG_CONFIG_HOME", folder_.path("config").c_str(), 1);
    setenv("XDG_DATA_HOME", folder_.path("data").c_str(), 1);
    run({"custom", "add", "TCXX", "Desk", "--type", "temperature"});
    run({"settings", "set", "menuSensors", R"(["TCXX"])"});
    run({"settings", "set", "mainSensor", "TCXX"});
    run({"settings", "set", "updateFrequency", "1"});
    folder_.write("data/group.com.kelvora/Log.csv", "kept");
  }

  static void run(const std::vector<std::string>& arguments) {
    const ProgramResult result = runKelvora(arguments);
    EXPECT_EQ(result.status, 0) << result.standardError;
  }
  static bool isStored(const std::string& setting) {
    return !json::parse(
        runKelvora({"settings", "get", setting, "--json"}).standardOutput)["isDefault"];
  }
  bool hasStore() const {
    return std::filesystem::exists(folder_.path("data/group.com.kelvora/Database.sqlite"));
  }
  static ProgramResult answered(const std::string& typed) {
    return runInTerminal(KELVORA_PROGRAM, {"reset"}, 80, {}, typed);
  }

  TemporaryFolder folder_;
};

TEST_F(KelvoraReset, SaysWhatItClearedAndWhatItLeft) {
  const ProgramResult result = runKelvora({"reset", "--yes"});
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_EQ(result.standardOutput,
            "Cleared settings: mainSensor and menuSensors\n"
            "Cleared files:    Database.sqlite\n"
            "Left settings:    updateFrequency\n"
            "Left files:       Log.csv\n"
            "Folder:           " +
                folder_.path("data/group.com.kelvora") +
                "\n"
                "Programs that run now save nothing until they are started again; 'kelvora "
                "record-history' continues in a new store.\n");
  EXPECT_FALSE(hasStore());
  EXPECT_FALSE(isStored("menuSensors"));
  EXPECT_TRUE(isStored("updateFrequency"));
  EXPECT_EQ(folder_.read("data/group.com.kelvora/Log.csv"), "kept");
}

TEST_F(KelvoraReset, SaysTheSameInJSON) {
  run({"settings", "set", "openAtLogin", "true"});
  EXPECT_EQ(json::parse(runKelvora({"reset", "--yes", "--json"}).standardOutput),
            (json{{"clearedSettings", {"mainSensor", "menuSensors", "openAtLogin"}},
                  {"clearedFiles", {"Database.sqlite"}},
                  {"leftSettings", {"updateFrequency"}},
                  {"leftFiles", {"Log.csv"}},
                  {"folder", folder_.path("data/group.com.kelvora")}}));
}

TEST_F(KelvoraReset, TheSecondOneFindsNothingToClear) {
  run({"reset", "--yes"});
  EXPECT_THAT(runKelvora({"reset", "--yes"}).standardOutput,
              HasSubstr("Cleared settings: none\nCleared files:    none\n"));
}

TEST_F(KelvoraReset, IsRefusedWithoutATerminalToAskIn) {
  const ProgramResult result = runKelvora({"reset"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_EQ(result.standardError,
            "kelvora: reset clears stored data: give --yes, or answer in a terminal\n");
  EXPECT_TRUE(hasStore());
  EXPECT_TRUE(isStored("menuSensors"));
}

TEST_F(KelvoraReset, AsksInATerminalAndClearsOnlyAfterAYes) {
  for (const char* typed : {"\n", "n\n", "no\n", "yesterday\n", "\x04"}) {
    const ProgramResult result = answered(typed);
    EXPECT_EQ(result.status, 1) << typed;
    EXPECT_THAT(result.standardError, HasSubstr("three settings? [y/N] "));
    EXPECT_THAT(result.standardError, HasSubstr("kelvora: nothing was cleared\n"));
    EXPECT_TRUE(hasStore());
  }
  const ProgramResult result = answered("y\n");
  EXPECT_EQ(result.status, 0) << result.standardError;
  EXPECT_THAT(result.standardOutput, HasSubstr("Cleared files:    Database.sqlite\n"));
  EXPECT_FALSE(hasStore());
}

TEST_F(KelvoraReset, TheWholeWordIsAYesToo) {
  EXPECT_EQ(answered("yes\n").status, 0);
  EXPECT_FALSE(hasStore());
}

TEST_F(KelvoraReset, WhatCannotBeClearedIsAFailure) {
  const ProgramResult result =
      runProgram("/bin/sh", {"-c", "{ trap '' XFSZ; ulimit -f 0; '" KELVORA_PROGRAM
                                   "' reset --yes; echo $?; } 2>&1 | cat"});
  EXPECT_THAT(result.standardOutput, HasSubstr("Left settings:    mainSensor, menuSensors and"));
  EXPECT_THAT(
      result.standardOutput,
      HasSubstr("kelvora: mainSensor: could not be cleared ('kelvora doctor' says more)\n1\n"));
}

// The settings are the user's, the folder of the stored objects is another account's.
TEST_F(KelvoraReset, AStoreThatCannotBeRemovedIsNamedAndIsAFailure) {
  if (getuid() != 0) {
    GTEST_SKIP() << "only root can make a folder of another account";
  }
  const ProgramResult result = runProgram(
      "/bin/sh", {"-c",
                  "cp \"$0\" \"$1/kelvora\" && chown -R nobody \"$1\" && chown -R root \"$2\" && "
                  "chmod 755 \"$2\" && "
                  "exec setpriv --reuid nobody --clear-groups \"$1/kelvora\" reset --yes",
                  KELVORA_PROGRAM, folder_.path(), folder_.path("data/group.com.kelvora")});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardOutput, HasSubstr("Cleared settings: mainSensor and menuSensors\n"
                                               "Cleared files:    none\n"
                                               "Left settings:    updateFrequency\n"
                                               "Left files:       Database.sqlite and Log.csv\n"));
  EXPECT_EQ(result.standardError,
            "kelvora: " + folder_.path("data/group.com.kelvora/Database.sqlite") +
                ": still there, or another program has made a new one\n");
  EXPECT_TRUE(hasStore());
}

// What cannot be looked at is not reported as empty.
TEST_F(KelvoraReset, AFolderOfAnotherAccountIsAFailureOfEachCommand) {
  if (getuid() != 0) {
    GTEST_SKIP() << "only root can make a folder of another account";
  }
  for (const char* command : {"reset --yes", "fansets", "conditions", "custom", "history"}) {
    const ProgramResult result = runProgram(
        "/bin/sh",
        {"-c",
         "cp \"$0\" \"$1/kelvora\" && chown -R nobody \"$1\" && chown root \"$2\" && "
         "chmod 700 \"$2\" && exec setpriv --reuid nobody --clear-groups \"$1/kelvora\" " +
             std::string(command),
         KELVORA_PROGRAM, folder_.path(), folder_.path("data/group.com.kelvora")});
    EXPECT_EQ(result.status, 1) << command;
    EXPECT_EQ(result.standardOutput, "") << command;
    EXPECT_THAT(result.standardError, HasSubstr(": Permission denied")) << command;
  }
  EXPECT_TRUE(hasStore());
}

}  // namespace
}  // namespace kelvora::testing
