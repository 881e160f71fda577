// What the doctor finds in homes of every kind.

#include <cstdlib>
#include <filesystem>
#include <string>

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/HomeFolder.h"
#include "tests/support/LockHolder.h"
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
constexpr char kStoreFile[] = "data/group.com.kelvora/Database.sqlite";
constexpr char kMachine[] =
    R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64", "title": "T"})";
constexpr char kEmptySettings[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict/></plist>";

class KelvoraDoctor : public ::testing::Test {
 protected:
  ProgramResult doctor(const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"doctor", "--machine", "iMac19,1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runKelvora(arguments);
  }
  json check(const std::string& name) const { return check(name, doctor({"--json"})); }
  static json check(const std::string& name, const ProgramResult& result) {
    const json report = json::parse(result.standardOutput);
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

  // The findings of the account "nobody" on this home, of which root owns some entries.
  std::string findingsOfNobody(const std::vector<std::string>& entriesOfRoot) const {
    std::vector<std::string> arguments = {
        "-c",
        "home=$1 && machine=$2 && shift 2 && cp \"$0\" \"$home/kelvora\" && "
        "cp -r \"$(dirname \"$0\")/Resources\" \"$home\" && "
        "chown -hR nobody \"$home\" && (cd \"$home\" && chown root \"$@\") && "
        "exec setpriv --reuid nobody --clear-groups \"$home/kelvora\" doctor --machine "
        "\"$machine\"",
        KELVORA_PROGRAM, home_.path(), home_.write("m.json", kMachine)};
    arguments.insert(arguments.end(), entriesOfRoot.begin(), entriesOfRoot.end());
    return runProgram("/bin/sh", arguments).standardOutput;
  }

  HomeFolder home_;
};

TEST_F(KelvoraDoctor, NamesEachThingInOrderWithItsState) {
  const json report = json::parse(doctor({"--json"}).standardOutput);
  std::string names;
  for (const json& check : report["checks"]) {
    names += check["name"].get<std::string>() + "; ";
  }
  EXPECT_EQ(names,
            "application support; documents; group container; settings; store; notices; "
            "privileged tool; fan guardian; fans; recorded Mac; SMC; HID services; machine; ");
  EXPECT_EQ(report["machine"]["live"], false);
}

TEST_F(KelvoraDoctor, HintsAreNotFailures) {
  const ProgramResult result = doctor();
  EXPECT_EQ(result.status, 0) << result.standardOutput;
  EXPECT_THAT(result.standardOutput, ContainsRegex("ok +application support +/"));
  EXPECT_THAT(result.standardOutput, ContainsRegex("hint +notices +no session bus: "));
  EXPECT_THAT(result.standardOutput, HasSubstr("dbus-run-session"));
  expectCheck("documents", "hint", "/Documents: missing");
  expectCheck("settings", "ok", "none yet, so defaults count");
  expectCheck("store", "hint", "/data/group.com.kelvora/Database.sqlite: none yet");
  expectCheck("privileged tool", "hint", "/data/Kelvora/Kelvora SMC: not installed");
  expectCheck("HID services", "ok", "none");
  expectCheck("machine", "ok",
              "iMac 27-inch 2019 (recorded): 162 sensors from the SMC, 2 computed");
}

TEST_F(KelvoraDoctor, KeysOfTheSMCAreCounted) {
  const json keys =
      json::parse(runKelvora({"keys", "--machine", "iMac19,1", "--json"}).standardOutput);
  expectCheck("SMC", "ok", keys["count"].dump() + " keys");
}

TEST_F(KelvoraDoctor, AMacWithoutAnSMCIsAHint) {
  const std::string machine = home_.write("machine.json", kMachine);
  EXPECT_THAT(runKelvora({"doctor", "--machine", machine}).standardOutput,
              ContainsRegex("hint +SMC +none, or it does not answer\n"));
}

TEST_F(KelvoraDoctor, SensorsOfHIDServicesAreCounted) {
  EXPECT_THAT(runKelvora({"doctor", "--machine", "Macmini9,1"}).standardOutput,
              ContainsRegex("ok +HID services +[1-9][0-9]* sensors\n"));
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
  EXPECT_THAT(report(40), HasSubstr("hint    notices\n" + underTheName));
  EXPECT_THAT(report(40), HasSubstr(underTheName + "log in to a desktop session, or\n" +
                                    underTheName + "start the programs under\n"));
  EXPECT_THAT(report(10), HasSubstr(underTheName + "log\n" + underTheName + "in\n"))
      << "narrower than a word";
  EXPECT_THAT(doctor().standardOutput,
              HasSubstr(indent + "log in to a desktop session, or start the programs under dbus"));
}

TEST_F(KelvoraDoctor, AProgramWithoutTheModelOfTheStoreIsBroken) {
  std::filesystem::create_directories(home_.path("bin"));
  std::filesystem::create_directories(home_.path("share"));
  const std::string program = home_.path("bin/kelvora");
  std::filesystem::copy_file(KELVORA_PROGRAM, program);
  const std::string machine = home_.write("machine.json", kMachine);
  const auto report = [&] { return runProgram(program, {"doctor", "--machine", machine}); };
  EXPECT_EQ(report().status, 1);
  EXPECT_THAT(report().standardOutput,
              ContainsRegex("broken +store +this program has no model of it"));
  home_.write(kStoreFile, "");
  EXPECT_THAT(report().standardOutput,
              ContainsRegex("broken +store +this program has no model of it"));
}

TEST_F(KelvoraDoctor, WhatExistsIsWell) {
  const SessionBus bus;
  home_.write("data/group.com.kelvora/Database.sqlite", "");
  home_.write(kSettingsFile, kEmptySettings);
  home_.write("Documents/a", "");
  for (const char* name : {"application support", "documents", "group container", "settings",
                           "store", "notices", "machine"}) {
    EXPECT_EQ(check(name)["state"], "ok") << name;
    EXPECT_EQ(check(name)["advice"], nullptr) << name;
  }
}

TEST_F(KelvoraDoctor, WithALogFileElsewhereTheDocumentsAreNotNeeded) {
  runKelvora({"settings", "set", "fileLoggingPath", home_.path("log.csv")});
  expectCheck("documents", "ok", "/Documents: missing, and the log file goes elsewhere");
}

TEST_F(KelvoraDoctor, TheToolOfARecordedMacNeedsNoRights) {
  ASSERT_EQ(runKelvora({"machine", "use", "MacBookPro15,1"}).status, 0);
  home_.write("data/Kelvora/Kelvora SMC", "");
  const json found = check("privileged tool", runKelvora({"doctor", "--json"}));
  EXPECT_EQ(found["state"], "ok");
  EXPECT_THAT(found["finding"].get<std::string>(), HasSubstr("; a recorded Mac needs no rights"));
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
    EXPECT_THAT(result.standardError, EndsWith("kelvora: 1 of 13 checks failed\n"));
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
  expectCheck("group container", "broken", "/dev/null/data/group.com.kelvora: cannot be written");
  expectCheck("store", "hint", "none yet");
  expectCheck("settings", "broken", "Settings.plist: cannot be written");
  EXPECT_EQ(doctor().status, 1);
}

TEST_F(KelvoraDoctor, ChangesNothing) {
  EXPECT_EQ(doctor().status, 0);
  EXPECT_THAT(home_.entries(), ::testing::IsEmpty()) << "no folder is created";
  home_.write("data/Kelvora/.kelvora-doctor/kept", "1");
  home_.write("data/group.com.kelvora/.kelvora-doctor", "2");
  home_.write("Documents/.kelvora-doctor/kept", "3");
  home_.write("config/.kelvora-doctor/kept", "4");
  home_.write(kSettingsFile, kEmptySettings);
  home_.write(std::string(kSettingsFile) + ".lock", "");
  home_.write(kStoreFile, std::string(5000, 'x'));
  const auto before = home_.entries();
  doctor();
  EXPECT_EQ(home_.entries(), before);
}

TEST_F(KelvoraDoctor, FoldersThatAreLinksToNothingAreBroken) {
  std::filesystem::create_directories(home_.path("config"));
  std::filesystem::create_directories(home_.path("data"));
  for (const char* link : {"config/group.com.kelvora", "data/group.com.kelvora", "data/Kelvora"}) {
    std::filesystem::create_symlink(home_.path("nothing"), home_.path(link));
  }
  const auto before = home_.entries();
  expectCheck("settings", "broken",
              "Settings.plist: cannot be written: " + home_.path("config/group.com.kelvora") +
                  " is a link to nothing");
  expectCheck("group container", "broken",
              home_.path("data/group.com.kelvora") + " is a link to nothing");
  expectCheck("application support", "broken",
              home_.path("data/Kelvora") + " is a link to nothing");
  EXPECT_EQ(home_.entries(), before);
}

TEST_F(KelvoraDoctor, AFolderInAFolderThatIsALinkToNothingIsBroken) {
  std::filesystem::create_symlink(home_.path("nothing"), home_.path("data"));
  expectCheck("group container", "broken", home_.path("data") + " is a link to nothing");
}

TEST_F(KelvoraDoctor, AFolderInThePlaceOfTheNewSettingsIsBroken) {
  home_.write(kSettingsFile, kEmptySettings);
  const std::string obstacle = home_.path(kSettingsFile) + ".new";
  std::filesystem::create_directory(obstacle);
  expectCheck("settings", "broken",
              "Settings.plist: cannot be written: " + obstacle + " is a folder");
  EXPECT_TRUE(std::filesystem::is_directory(obstacle));
  std::filesystem::remove(obstacle);
  home_.write(std::string(kSettingsFile) + ".new", "left by a killed writer");
  expectCheck("settings", "ok", "Settings.plist");
}

TEST_F(KelvoraDoctor, SettingsInAFolderOfAnotherAccountThatALinkLeadsToAreBroken) {
  if (getuid() != 0) {
    GTEST_SKIP() << "only root can act for another account";
  }
  home_.write("elsewhere/Settings.plist", kEmptySettings);
  std::filesystem::create_directories(home_.path("config/group.com.kelvora"));
  std::filesystem::create_symlink(home_.path("elsewhere/Settings.plist"),
                                  home_.path(kSettingsFile));
  EXPECT_THAT(findingsOfNobody({"elsewhere"}),
              ContainsRegex(
                  "broken +settings +[^\n]*Settings.plist: cannot be written: Permission denied"));
}

TEST_F(KelvoraDoctor, AStoreInAFolderOfAnotherAccountThatALinkLeadsToIsBroken) {
  if (getuid() != 0) {
    GTEST_SKIP() << "only root can act for another account";
  }
  home_.write("elsewhere/Database.sqlite", "");
  std::filesystem::create_directories(home_.path("data/group.com.kelvora"));
  std::filesystem::create_symlink(home_.path("elsewhere/Database.sqlite"), home_.path(kStoreFile));
  EXPECT_THAT(findingsOfNobody({"elsewhere"}),
              ContainsRegex("broken +store +[^\n]*/elsewhere: Permission denied"));
}

TEST_F(KelvoraDoctor, AStoreThatALinkCannotLeadToIsBroken) {
  std::filesystem::create_directories(home_.path("data/group.com.kelvora"));
  std::filesystem::create_symlink("elsewhere/Database.sqlite", home_.path(kStoreFile));
  const std::string folder = home_.path("data/group.com.kelvora/elsewhere");
  expectCheck("store", "broken", "a link to nothing in " + folder + ": not a folder");
  std::filesystem::create_directory(folder);
  expectCheck("store", "hint", "Database.sqlite: none yet");
}

TEST_F(KelvoraDoctor, AStoreWhoseLogBelongsToAnotherAccountIsBroken) {
  if (getuid() != 0) {
    GTEST_SKIP() << "only root can act for another account";
  }
  home_.write(kStoreFile, "");
  for (const std::string ending : {"-wal", "-shm"}) {
    const std::string log = kStoreFile + ending;
    chmod(home_.write(log, "").c_str(), 0600);
    EXPECT_THAT(findingsOfNobody({log}), ContainsRegex("broken +store +[^\n]*Database.sqlite" +
                                                       ending + ": Permission denied"));
    std::filesystem::remove(home_.path(log));
  }
}

TEST_F(KelvoraDoctor, AStoreWithAFolderInThePlaceOfItsLogIsBroken) {
  home_.write(kStoreFile, "");
  std::filesystem::create_directory(home_.path(kStoreFile) + "-wal");
  expectCheck("store", "broken", "Database.sqlite: " + home_.path(kStoreFile) + "-wal: not a file");
}

TEST_F(KelvoraDoctor, AStoreThatCannotBeOpenedIsBroken) {
  home_.write(kStoreFile, std::string(5000, 'x'));
  expectCheck("store", "broken", "Database.sqlite: file is not a database");
  EXPECT_EQ(doctor().status, 1);
  std::filesystem::remove(home_.path(kStoreFile));
  std::filesystem::create_directories(home_.path(kStoreFile));
  expectCheck("store", "broken", "Database.sqlite: not a file");
}

TEST_F(KelvoraDoctor, AStoreOfAnotherKindIsBroken) {
  SQLite::Database(home_.write(kStoreFile, ""), SQLite::OPEN_READWRITE).exec("CREATE TABLE t (a)");
  expectCheck("store", "broken", "Database.sqlite: the file is not a store");
}

TEST_F(KelvoraDoctor, ALockThatIsALinkOrAFolderIsBroken) {
  home_.write(kSettingsFile, kEmptySettings);
  const std::string lock = home_.path(kSettingsFile) + ".lock";
  std::filesystem::create_symlink(home_.path("elsewhere"), lock);
  expectCheck("settings", "broken", "Settings.plist: the lock beside it: not a file");
  EXPECT_FALSE(std::filesystem::exists(home_.path("elsewhere")));
  std::filesystem::remove(lock);
  std::filesystem::create_directory(lock);
  expectCheck("settings", "broken", "Settings.plist: the lock beside it: not a file");
}

TEST_F(KelvoraDoctor, ALockThatAnotherProgramHoldsOnIsBroken) {
  home_.write(kSettingsFile, kEmptySettings);
  const std::string lock = home_.path(kSettingsFile) + ".lock";
  {
    const LockHolder other(lock, LockHolder::Until::kItsEnd);
    const auto before = home_.entries();
    expectCheck("settings", "broken", "Settings.plist: another program keeps it locked");
    EXPECT_EQ(home_.entries(), before);
  }
  expectCheck("settings", "ok", "Settings.plist");
}

TEST_F(KelvoraDoctor, ALockThatAnotherProgramHoldsForAMomentIsWell) {
  home_.write(kSettingsFile, kEmptySettings);
  const LockHolder writer(home_.path(kSettingsFile) + ".lock", LockHolder::Until::kSomebodyWaits);
  expectCheck("settings", "ok", "Settings.plist");
}

TEST_F(KelvoraDoctor, SettingsTooLargeForTheProgramsAreBroken) {
  std::filesystem::resize_file(home_.write(kSettingsFile, ""), 3UL << 30U);
  expectCheck("settings", "broken", "Settings.plist: larger than 16 MB");
}

TEST_F(KelvoraDoctor, ALockOfAnotherAccountIsBroken) {
  if (getuid() != 0) {
    GTEST_SKIP() << "only root can make a file of another account";
  }
  home_.write(kSettingsFile, kEmptySettings);
  const std::string lock = home_.write(std::string(kSettingsFile) + ".lock", "");
  chmod(lock.c_str(), 0600);
  EXPECT_THAT(findingsOfNobody({std::string(kSettingsFile) + ".lock"}),
              HasSubstr("the lock beside it: Permission denied"));
}

TEST_F(KelvoraDoctor, SettingsOfAnotherTypeAreNamed) {
  home_.write(kSettingsFile,
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
              "<key>KVTempUnitCelsius</key><string>yes</string>"
              "<key>KVUpdateFrequencyKey</key><array/>"
              "<key>KVFanValueTypeKey</key><true/></dict></plist>");
  expectCheck("settings", "broken", "of another type: updateFrequency and tempUnitCelsius");
}

TEST_F(KelvoraDoctor, DocumentsThatAreAFileAreBroken) {
  home_.write("Documents", "");
  expectCheck("documents", "broken", "Documents is not a folder");
}

// A limit on the size of files refuses every byte, as a full disk does.
TEST_F(KelvoraDoctor, AFullDiskIsBroken) {
  const ProgramResult result =
      runProgram("/bin/sh", {"-c",
                             "( trap '' XFSZ; ulimit -f 0; exec \"$0\" doctor --machine iMac19,1 "
                             "2>/dev/null ) | cat",
                             KELVORA_PROGRAM});
  for (const char* name : {"application support", "group container", "settings"}) {
    EXPECT_THAT(result.standardOutput,
                ContainsRegex(std::string("broken +") + name + " +[^\n]+: cannot be written"));
  }
  EXPECT_THAT(home_.entries(), ::testing::IsEmpty());
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
