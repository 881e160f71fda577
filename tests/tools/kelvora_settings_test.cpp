// The settings in the terminal, with real programs on one bus.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVSetting.h"

#include "ports/Ports.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/SessionBus.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;

class KelvoraSettings : public ::testing::Test {
 protected:
  KelvoraSettings() { setenv("XDG_CONFIG_HOME", folder_.path().c_str(), 1); }

  static ProgramResult settings(std::vector<std::string> arguments = {}) {
    arguments.insert(arguments.begin(), "settings");
    return runKelvora(arguments);
  }
  static json setting(const std::string& name) {
    return json::parse(settings({"get", name, "--json"}).standardOutput);
  }
  static void set(const std::string& name, const std::string& value) {
    const ProgramResult result = settings({"set", name, value});
    EXPECT_EQ(result.status, 0) << result.standardError;
  }
  std::string file() const { return folder_.read("group.com.kelvora/Settings.plist"); }

  TemporaryFolder folder_;
};

TEST_F(KelvoraSettings, AreAllListedWithKeyValueAndWhetherItIsTheDefault) {
  const ProgramResult text = settings();
  EXPECT_EQ(text.status, 0);
  EXPECT_EQ(lineCount(text.standardOutput), static_cast<std::ptrdiff_t>(kSettingCount));
  EXPECT_THAT(text.standardOutput,
              ContainsRegex("tempUnitCelsius +KVTempUnitCelsius +true  \\(default\\)\n"));
  const json list = json::parse(settings({"--json"}).standardOutput)["settings"];
  ASSERT_EQ(list.size(), kSettingCount);
  for (std::size_t i = 0; i < kSettingCount; ++i) {
    EXPECT_EQ(list[i]["property"], allSettings()[i].property);
    EXPECT_EQ(list[i]["key"], allSettings()[i].key);
    EXPECT_EQ(list[i]["isDefault"], true);
  }
}

TEST_F(KelvoraSettings, WhatAProgramComputesLaterIsNotCalledADefault) {
  const std::string text = settings().standardOutput;
  EXPECT_THAT(text, ContainsRegex("mainSensor +KVMainSensor +none  \\(computed when asked\\)\n"));
  EXPECT_THAT(text, ContainsRegex("showHIDSensors +[A-Za-z]+ +none  \\(default\\)\n"));
  EXPECT_THAT(text, ContainsRegex("currentLanguage +CURRENT_LANGUAGE_KEY +en  \\(default\\)\n"));
}

TEST_F(KelvoraSettings, OnANarrowTerminalKeysGiveWayAndValuesStayWhole) {
  const Environment home = {{"HOME", "/home/anna"}, {"NO_COLOR", "1"}};
  const auto table = [&](unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"settings"}, columns, home).standardOutput;
  };
  EXPECT_THAT(table(140), HasSubstr(" KVFanControllerAutoBoostNotificationEnabledKey  false"));
  EXPECT_THAT(table(100), HasSubstr("autoBoostNotificationEnabled  KVFanController"));
  EXPECT_THAT(table(100), HasSubstr("…  false  (default)\n"));
  EXPECT_THAT(table(80), HasSubstr("autoBoostNotificationEnabled  KVFanControllerAuto"));
  EXPECT_THAT(table(60), HasSubstr("autoBoostNotificationEnabled  false  (default)\n"));
}

TEST_F(KelvoraSettings, ALongValueMovesItsOwnLineOnly) {
  const auto table = [](const std::string& path) {
    set("fileLoggingPath", path);
    return runInTerminal(KELVORA_PROGRAM, {"settings"}, 80, {{"NO_COLOR", "1"}}).standardOutput;
  };
  const auto others = [](std::string text) {
    const std::size_t start = text.find("\nfileLoggingPath ");
    return text.erase(start, text.find('\n', start + 1) - start);
  };
  const std::string usual = table("/a.csv");
  EXPECT_THAT(usual, HasSubstr("\nfileLoggingPath               KVFileLoggingPathKey   /a.csv\n"));
  const std::string path(47, 'x');
  const std::string own = "\nfileLoggingPath               ";
  EXPECT_THAT(table(path), HasSubstr(own + path + "\n"));
  EXPECT_EQ(others(table(path)), others(usual));
  const std::string shorter(34, 'x');
  EXPECT_THAT(table(shorter), HasSubstr(own + "KVFileLogging…  " + shorter + "\n"));
  EXPECT_EQ(others(table(shorter)), others(usual));
}

TEST_F(KelvoraSettings, AnEmptyTextIsSeenInTheListAndBareAlone) {
  set("fileLoggingPath", "");
  EXPECT_THAT(settings().standardOutput,
              ContainsRegex("fileLoggingPath +KVFileLoggingPathKey +\"\"\n"));
  EXPECT_EQ(settings({"get", "fileLoggingPath"}).standardOutput, "\n");
}

TEST_F(KelvoraSettings, AreColouredOnATerminalOnly) {
  EXPECT_THAT(runInTerminal(KELVORA_PROGRAM, {"settings"}, 100).standardOutput, HasSubstr("\x1b["));
  EXPECT_THAT(settings().standardOutput, Not(HasSubstr("\x1b")));
}

const std::vector<std::vector<std::string>> kShowingCommands = {
    {"sensors"}, {"sensors", "--json"}, {"inventory"}, {"keys"},
    {"doctor"},  {"machines"},          {"settings"},  {"settings", "get", "tempUnitCelsius"}};

TEST_F(KelvoraSettings, AreNotWrittenByLooking) {
  for (const auto& command : kShowingCommands) {
    runKelvora(command);
    EXPECT_TRUE(std::filesystem::is_empty(folder_.path())) << command.front();
  }
}

TEST_F(KelvoraSettings, LookingLeavesADamagedSuiteAsItIs) {
  folder_.write("group.com.kelvora/Settings.plist", "damaged");
  for (const auto& command : kShowingCommands) {
    runKelvora(command);
    EXPECT_EQ(file(), "damaged") << command.front();
  }
  const std::filesystem::directory_iterator entries(folder_.path("group.com.kelvora"));
  EXPECT_EQ(std::distance(begin(entries), end(entries)), 1);
}

TEST_F(KelvoraSettings, AreTypedSetShownAndUnset) {
  const std::map<std::string, std::pair<std::string, json>> values = {
      {"tempUnitCelsius", {"false", false}},
      {"updateFrequency", {"2", 2}},
      {"fanControlMode", {"-7", -7}},
      {"currentLanguage", {"zh-Hant", "zh-Hant"}},
      {"mainSensor", {"TC0P", "TC0P"}},
      {"fileLoggingPath", {"[a]", "[a]"}},
      {"menuSensors", {R"(["TC0P","AverageCPU"])", {"TC0P", "AverageCPU"}}},
      {"dropdownItems",
       {R"([{"main_sensor":false}])", json::array({json::object({{"main_sensor", false}})})}},
  };
  for (const auto& [name, value] : values) {
    const ProgramResult result = settings({"set", name, value.first});
    EXPECT_EQ(result.status, 0) << result.standardError;
    EXPECT_EQ(result.standardOutput, value.first + "\n");
    EXPECT_EQ(settings({"get", name}).standardOutput, value.first + "\n");
    EXPECT_EQ(setting(name)["value"], value.second) << name;
    EXPECT_EQ(setting(name)["isDefault"], false) << name;
    EXPECT_EQ(settings({"unset", name}).status, 0);
    EXPECT_EQ(setting(name)["isDefault"], true) << name;
  }
  EXPECT_EQ(setting("menuSensors")["value"], nullptr);
  EXPECT_EQ(settings({"get", "menuSensors"}).standardOutput, "none\n");
}

TEST_F(KelvoraSettings, AStoredDefaultIsADefaultToo) {
  set("tempUnitCelsius", "true");
  EXPECT_EQ(setting("tempUnitCelsius")["isDefault"], true);
  EXPECT_THAT(file(), HasSubstr("KVTempUnitCelsius"));
}

TEST_F(KelvoraSettings, AWrongValueIsRefusedWithTheAllowedOnesAndNothingIsWritten) {
  expectRefused(settings({"set", "tempUnitCelsius", "1"}),
                "tempUnitCelsius takes true or false, not \"1\"");
  expectRefused(settings({"set", "updateFrequency", "3"}),
                "updateFrequency takes 0, 1 or 2, not \"3\"");
  expectRefused(settings({"set", "graphTimeRange", "99"}),
                "graphTimeRange takes 0, 1 or 2, not \"99\"");
  expectRefused(settings({"set", "fanValueType", "01"}), "fanValueType takes 0 or 1, not \"01\"");
  expectRefused(settings({"set", "fanControlMode", "2 "}),
                "fanControlMode takes a whole number, not \"2 \"");
  expectRefused(settings({"set", "appLaunchCount", "9223372036854775808"}),
                "appLaunchCount takes a whole number from 0, not \"9223372036854775808\"");
  expectRefused(settings({"set", "appLaunchCount", "-1"}),
                "appLaunchCount takes a whole number from 0, not \"-1\"");
  expectRefused(settings({"set", "currentLanguage", "pt"}),
                "currentLanguage takes en, fr, de, es, tr, vi, zh-Hans or zh-Hant, not \"pt\"");
  expectRefused(settings({"set", "mainSensor", "\xff"}),
                "mainSensor takes the key of a sensor that 'kelvora sensors' lists or the store "
                "has, not \"\xef\xbf\xbd\"");
  expectRefused(settings({"set", "fileLoggingPath", "\xff"}),
                "fileLoggingPath takes a text in UTF-8, not \"\xef\xbf\xbd\"");
  for (const char* value : {"TC0P", "[\"TC0P\"", "[1]", R"(["a\u0000b"])", "{}"}) {
    EXPECT_THAT(settings({"set", "menuSensors", value}).standardError,
                HasSubstr("menuSensors takes a JSON array of texts, e.g. [\"TC0P\"], not "));
  }
  for (const char* value : {R"([{"a":1}])", R"([{"a":true,"b":true}])", R"([{}])", R"(["a"])"}) {
    EXPECT_THAT(settings({"set", "dropdownItems", value}).standardError,
                HasSubstr("dropdownItems takes a JSON array of names with true or false"));
  }
  EXPECT_EQ(file(), "");
}

TEST_F(KelvoraSettings, TheMainSensorMustBeOneThatTheMachineHas) {
  setenv("KELVORA_MACHINE", "iMac19,1", 1);
  for (const char* key : {"XXXX", "", "tc0p"}) {
    EXPECT_THAT(settings({"set", "mainSensor", key}).standardError,
                HasSubstr("mainSensor takes the key of a sensor that 'kelvora sensors' lists"));
  }
  EXPECT_EQ(file(), "");
  set("mainSensor", "TC0P");
  set("mainSensor", "AverageCPU");
  set("menuSensors", R"(["XXXX"])");
}

TEST_F(KelvoraSettings, TheMainSensorMayBeOneThatIsStored) {
  setenv("XDG_DATA_HOME", folder_.path("data").c_str(), 1);
  {
    const auto platform = Platform::live();
    KVCoreDataStore store(0, *platform);
    store.createSensorWithKey("ABCD", store.viewContext());
    store.saveViewContext();
  }
  set("mainSensor", "ABCD");
  EXPECT_EQ(settings({"set", "mainSensor", "XXXX"}).status, 2);
  setenv("KELVORA_MACHINE", "iMac19,1", 1);
  set("mainSensor", "ABCD");
  set("mainSensor", "TC0P");
}

TEST_F(KelvoraSettings, ArchivedDataIsShownAsItsSizeAndCannotBeSet) {
  folder_.write("group.com.kelvora/Settings.plist",
                "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
                "<key>KVOverheatNotificationsKey</key><data>AAECAw==</data></dict></plist>");
  EXPECT_EQ(settings({"get", "overheatNotifications"}).standardOutput, "4 bytes\n");
  EXPECT_EQ(setting("overheatNotifications")["value"], json({{"bytes", 4}}));
  expectRefused(settings({"set", "overheatNotifications", "x"}),
                "overheatNotifications cannot be set here: 'kelvora rules' changes it");
}

TEST_F(KelvoraSettings, WrongNamesAndWordsAreOneLineAndStatusTwo) {
  for (const char* command : {"get", "unset"}) {
    expectRefused(
        settings({command, "KVTempUnitCelsius"}),
        "KVTempUnitCelsius: no such setting; did you mean tempUnitCelsius? ('kelvora settings' "
        "lists them)");
  }
  expectRefused(settings({"set", "nothing", "1"}),
                "nothing: no such setting ('kelvora settings' lists them)");
  for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
           {"get"}, {"set", "updateFrequency"}, {"watch", "x"}, {"sett"}, {"get", "a", "b"}}) {
    const ProgramResult result = settings(arguments);
    EXPECT_EQ(result.status, 2) << arguments.front();
    EXPECT_EQ(lineCount(result.standardError), 1) << result.standardError;
  }
}

TEST_F(KelvoraSettings, HelpOfEachCommandShowsAnExample) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"--help"},
                                             {"get", "--help"},
                                             {"set", "-h"},
                                             {"unset", "--help"},
                                             {"watch", "--help"}}) {
    const ProgramResult result = settings(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.standardOutput, HasSubstr("Example:\n  kelvora settings"));
  }
}

TEST_F(KelvoraSettings, WhatCannotBeWrittenIsStatusOne) {
  setenv("XDG_CONFIG_HOME", "/dev/null/settings", 1);
  const ProgramResult result = settings({"set", "updateFrequency", "1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.standardOutput, "");
  EXPECT_THAT(result.standardError,
              HasSubstr("kelvora: updateFrequency: could not be written ('kelvora doctor' says"));
}

TEST_F(KelvoraSettings, AHostileTextCannotControlTheTerminal) {
  set("fileLoggingPath", "a\x1b[31mb");
  EXPECT_EQ(settings({"get", "fileLoggingPath"}).standardOutput, "a?[31mb\n");
  EXPECT_THAT(settings().standardOutput, Not(HasSubstr("\x1b")));
}

TEST_F(KelvoraSettings, WatchHearsEachChangeOfAnotherProgramAndStopsWhenAsked) {
  const SessionBus bus;
  for (const int signal : {SIGTERM, SIGINT}) {
    settings({"unset", "currentLanguage"});
    ChildProgram watch(KELVORA_PROGRAM, {"settings", "watch", "--json"});
    EXPECT_THAT(watch.nextErrorLine(), HasSubstr("watching the settings"));
    set("tempUnitCelsius", "false");
    set("fanValueType", "1");
    set("fanControlMode", "3");  // not announced
    set("currentLanguage", "de");
    set("currentLanguage", "de");  // no change
    set("showHIDSensors", "true");

    json notice = json::parse(watch.nextLine());
    EXPECT_EQ(notice["name"], "KVDataManagerSettingsDidChangeNotification");
    EXPECT_EQ(notice["userInfo"], nullptr);
    EXPECT_THAT(notice["time"].get<std::string>(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}"
                             "[-+][0-9]{2}:[0-9]{2}"));
    notice = json::parse(watch.nextLine());
    EXPECT_EQ(notice["name"], "KVDataManagerUpdateFrequencyDidChangeNotification");
    EXPECT_EQ(notice["userInfo"], json({{"KVFanValueTypeKey", 1}}));
    EXPECT_EQ(json::parse(watch.nextLine())["name"], "KVDataManagerLanguageDidChangeNotification");
    notice = json::parse(watch.nextLine());
    EXPECT_EQ(notice["userInfo"], json({{"KVShowHIDSensorsKey", true}}));

    watch.signal(signal);
    EXPECT_EQ(watch.wait(), 0);
    EXPECT_EQ(watch.nextLine(), "");
  }
}

TEST_F(KelvoraSettings, WatchWritesALineOfTextForANotice) {
  const SessionBus bus;
  ChildProgram watch(KELVORA_PROGRAM, {"settings", "watch"});
  watch.nextErrorLine();
  set("showComputedSensors", "false");
  EXPECT_THAT(watch.nextLine(),
              MatchesRegex("[0-9T:.+-]+  KVDataManagerSettingsDidChangeNotification"
                           "  \\{\"KVShowComputedSensorsKey\":false\\}"));
  watch.signal(SIGTERM);
  EXPECT_EQ(watch.wait(), 0);
}

// Posts to the session as another program of the product would.
void post(Platform& program, const std::string& name,
          const std::optional<std::string>& object = std::nullopt) {
  program.notificationCentres().distributed().post({name, object, std::nullopt}, true);
}

TEST_F(KelvoraSettings, WatchHearsEveryNoticeOfTheLibraryAndNoOther) {
  const std::vector<std::string> names = {"KVDataManagerSettingsDidChangeNotification",
                                          "KVDataManagerLanguageDidChangeNotification",
                                          "KVDataManagerMenuSensorsDidChangeNotification",
                                          "KVDataManagerUpdateFrequencyDidChangeNotification",
                                          "KVDataManagerOverheatListDidChangeNotification",
                                          "KVDataManagerFileLoggingSensorKeysDidChangeNotification",
                                          "KVThemeDidChangeNotification",
                                          "SensorControllerDidFailNotification"};
  const SessionBus bus;
  ChildProgram watch(KELVORA_PROGRAM, {"settings", "watch", "--json"});
  watch.nextErrorLine();
  const auto program = Platform::live();
  for (const std::string& name : names) {
    post(*program, "SomebodyElsesNotification");
    post(*program, name);
  }
  post(*program, names.front(), "the end");
  std::vector<std::string> heard;
  for (json notice = json::parse(watch.nextLine()); notice["object"] != "the end";
       notice = json::parse(watch.nextLine())) {
    EXPECT_EQ(notice["object"], nullptr);
    heard.push_back(notice["name"]);
  }
  EXPECT_EQ(heard, names);
}

TEST_F(KelvoraSettings, WatchShowsTheMessageOfAFailedRead) {
  const SessionBus bus;
  ChildProgram text(KELVORA_PROGRAM, {"settings", "watch"});
  ChildProgram objects(KELVORA_PROGRAM, {"settings", "watch", "--json"});
  text.nextErrorLine();
  objects.nextErrorLine();
  const auto program = Platform::live();
  post(*program, "SensorControllerDidFailNotification", "SMC read (\x1b) failed");
  EXPECT_THAT(text.nextLine(),
              EndsWith("  SensorControllerDidFailNotification  SMC read (?) failed"));
  EXPECT_EQ(json::parse(objects.nextLine())["object"], "SMC read (\x1b) failed");
}

TEST_F(KelvoraSettings, WatchWritesJSONInUTF8InEveryLocale) {
  const SessionBus bus;
  ChildProgram watch(KELVORA_PROGRAM, {"settings", "watch", "--json"}, {{"LC_ALL", "C"}});
  watch.nextErrorLine();
  post(*Platform::live(), "SensorControllerDidFailNotification", "Lüfter");
  EXPECT_EQ(json::parse(watch.nextLine())["object"], "Lüfter");
}

TEST_F(KelvoraSettings, WatchSaysWhenItIsCutOffAndWhenItHearsAgain) {
  SessionBus bus;
  ChildProgram watch(KELVORA_PROGRAM, {"settings", "watch", "--json"});
  EXPECT_THAT(watch.nextErrorLine(), HasSubstr("watching the settings"));
  for (const char* value : {"false", "true"}) {
    bus.end();
    EXPECT_EQ(watch.nextErrorLine(), "session bus: cut off, other programs are not heard");
    bus.begin();
    EXPECT_EQ(watch.nextErrorLine(), "session bus: other programs are heard again");
    set("showHIDSensors", value);
    EXPECT_EQ(json::parse(watch.nextLine())["userInfo"],
              json({{"KVShowHIDSensorsKey", std::string(value) == "true"}}));
  }
  watch.signal(SIGTERM);
  EXPECT_EQ(watch.wait(), 0);
  EXPECT_EQ(watch.restOfError(), "");
}

TEST_F(KelvoraSettings, WatchWithoutABusSaysThatNothingCanBeHeard) {
  const ProgramResult result = settings({"watch"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardError, HasSubstr("kelvora: no session bus: "));
}

}  // namespace
}  // namespace kelvora::testing
