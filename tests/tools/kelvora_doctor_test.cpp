// What the doctor finds in homes of every kind.

#include <cstdlib>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "tests/support/SessionBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;

constexpr char kSettingsFile[] = "config/group.com.kelvora/Settings.plist";
constexpr char kEmptySettings[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict/></plist>";

class KelvoraDoctor : public ::testing::Test {
 protected:
  KelvoraDoctor() {
    setenv("HOME", home_.path().c_str(), 1);
    setenv("XDG_CONFIG_HOME", home_.path("config").c_str(), 1);
    setenv("XDG_DATA_HOME", home_.path("data").c_str(), 1);
  }

  ProgramResult doctor(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"doctor", "--machine", "iMac19,1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runKelvora(arguments);
  }
  json check(const std::string& name) const {
    const json report = json::parse(doctor({"--json"}).standardOutput);
    for (const json& check : report["checks"]) {
      if (check["name"] == name) {
        return check;
      }
    }
    ADD_FAILURE() << "no check " << name;
    return nullptr;
  }
  void expectCheck(const std::string& name, const std::string& state,
                   const std::string& finding) const {
    const json found = check(name);
    EXPECT_EQ(found["state"], state) << found;
    EXPECT_THAT(found["finding"].get<std::string>(), HasSubstr(finding));
    EXPECT_EQ(found["advice"].is_null(), state == "ok") << found;
  }

  TemporaryFolder home_;
};

TEST_F(KelvoraDoctor, NamesEachThingInOrderWithItsState) {
  const json report = json::parse(doctor({"--json"}).standardOutput);
  std::string names;
  for (const json& check : report["checks"]) {
    names += check["name"].get<std::string>() + "; ";
  }
  EXPECT_EQ(names,
            "application support; documents; group container; settings; store; session bus; "
            "privileged tool; machine; ");
  EXPECT_EQ(report["machine"]["live"], false);
}

TEST_F(KelvoraDoctor, HintsAreNoFailure) {
  const ProgramResult result = doctor();
  EXPECT_EQ(result.status, 0) << result.standardOutput;
  EXPECT_THAT(result.standardOutput, ContainsRegex("ok +application support +/"));
  EXPECT_THAT(result.standardOutput, ContainsRegex("hint +session bus +none: "));
  EXPECT_THAT(result.standardOutput, HasSubstr("dbus-run-session"));
  expectCheck("documents", "hint", "/Documents: missing");
  expectCheck("settings", "ok", "none yet, so defaults count");
  expectCheck("store", "hint", "/data/group.com.kelvora/Database.sqlite: none yet");
  expectCheck("privileged tool", "hint", "/data/Kelvora/Kelvora SMC: not installed");
  expectCheck("machine", "ok",
              "iMac 27-inch 2019 (recorded): 162 sensors from the SMC, 2 computed");
}

TEST_F(KelvoraDoctor, OnANarrowTerminalAdviceIsBrokenAtItsBlanks) {
  const auto report = [](unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"doctor"}, columns, {{"NO_COLOR", "1"}}).standardOutput;
  };
  const std::string indent(29, ' ');
  EXPECT_THAT(report(80),
              HasSubstr(indent + "log in to a desktop session, or start the programs\n" + indent +
                        "under dbus-run-session\n"));
  const std::string underTheName(8, ' ');
  EXPECT_THAT(report(40), HasSubstr("hint    session bus\n" + underTheName));
  EXPECT_THAT(report(40), HasSubstr(underTheName + "log in to a desktop session, or\n" +
                                    underTheName + "start the programs under\n"));
  EXPECT_THAT(report(10), HasSubstr(underTheName + "log\n" + underTheName + "in\n"))
      << "narrower than a word";
  EXPECT_THAT(doctor().standardOutput,
              HasSubstr(indent + "log in to a desktop session, or start the programs under dbus"));
}

TEST_F(KelvoraDoctor, WhatExistsIsWell) {
  const SessionBus bus;
  home_.write("data/group.com.kelvora/Database.sqlite", "");
  home_.write(kSettingsFile, kEmptySettings);
  home_.write("Documents/a", "");
  for (const char* name : {"application support", "documents", "group container", "settings",
                           "store", "session bus", "machine"}) {
    EXPECT_EQ(check(name)["state"], "ok") << name;
    EXPECT_EQ(check(name)["advice"], nullptr) << name;
  }
}

TEST_F(KelvoraDoctor, ATooLooseOrForeignToolIsShownWithOwnerAndMode) {
  const std::string tool = home_.write("data/Kelvora/Kelvora SMC", "");
  chmod(tool.c_str(), 04755);
  const json found = check("privileged tool");
  EXPECT_EQ(found["state"], "hint");
  EXPECT_THAT(found["finding"].get<std::string>(), ContainsRegex(": [^:]*:[^:]*, 4755$"));
  EXPECT_THAT(found["advice"].get<std::string>(), HasSubstr("6555"));
}

TEST_F(KelvoraDoctor, SettingsThatCannotBeReadAreBroken) {
  for (const char* content : {"not a property list", "bplist00", ""}) {
    home_.write(kSettingsFile, content);
    const ProgramResult result = doctor();
    EXPECT_EQ(result.status, 1) << content;
    EXPECT_THAT(result.standardOutput, ContainsRegex("broken +settings +/"));
    EXPECT_THAT(result.standardError, EndsWith("kelvora: 1 of 8 checks failed\n"));
    EXPECT_EQ(home_.read(kSettingsFile), content) << "left as it is";
  }
  home_.write(kSettingsFile,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><array/></plist>");
  expectCheck("settings", "broken", "not a dictionary");
}

TEST_F(KelvoraDoctor, SettingsThatAreAFolderOrAPipeAreBroken) {
  std::filesystem::create_directories(home_.path(kSettingsFile));
  EXPECT_EQ(check("settings")["state"], "broken");
  std::filesystem::remove(home_.path(kSettingsFile));
  ASSERT_EQ(mkfifo(home_.path(kSettingsFile).c_str(), 0600), 0);
  EXPECT_EQ(check("settings")["state"], "broken");
}

TEST_F(KelvoraDoctor, FoldersThatCannotBeMadeAreBroken) {
  setenv("XDG_CONFIG_HOME", "/dev/null/config", 1);
  setenv("XDG_DATA_HOME", "/dev/null/data", 1);
  expectCheck("application support", "broken", "/dev/null/data/Kelvora: cannot be written");
  expectCheck("group container", "broken", "none");
  expectCheck("store", "broken", "none");
  expectCheck("settings", "broken", "Settings.plist: cannot be written");
  EXPECT_EQ(doctor().status, 1);
}

TEST_F(KelvoraDoctor, LeavesNothingInTheFoldersThatItTries) {
  doctor();
  EXPECT_TRUE(std::filesystem::is_empty(home_.path("data/Kelvora")));
  EXPECT_TRUE(std::filesystem::is_empty(home_.path("data/group.com.kelvora")));
  EXPECT_FALSE(std::filesystem::exists(home_.path("config")));
}

TEST_F(KelvoraDoctor, AMachineThatReportsNothingIsBroken) {
  const std::string machine = home_.write(
      "bare.json",
      R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64", "title": "Bare"})");
  const ProgramResult result = runKelvora({"doctor", "--machine", machine});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardOutput,
              ContainsRegex("broken +machine +Bare \\(recorded\\): no sensors"));
}

TEST_F(KelvoraDoctor, TheStandInOfAComputerWithoutAppleHardwareIsAHint) {
  const ProgramResult result = runKelvora({"doctor"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.standardOutput, ContainsRegex("hint +machine +MacBook Pro 15-inch 2018"));
}

TEST_F(KelvoraDoctor, HelpShowsAnExampleAndWrongWordsAreRefused) {
  EXPECT_THAT(runKelvora({"doctor", "--help"}).standardOutput,
              HasSubstr("Example:\n  kelvora doctor"));
  EXPECT_EQ(runKelvora({"doctor", "now"}).status, 2);
}

}  // namespace
}  // namespace kelvora::testing
