// What a reading looks like under the user's settings.

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kFans[] = R"({
  "format": "kelvora-machine", "version": 1, "architecture": "x86_64", "title": "T",
  "sysctl": {"machdep.cpu.brand_string": "Intel"},
  "smc": {"keys": [
    {"key": "#KEY", "type": "ui32", "bytes": "00000012"},
    {"key": "FNum", "type": "ui8 ", "bytes": "05"},
    {"key": "F0Ac", "type": "fpe2", "bytes": "1f40"},
    {"key": "F0Mn", "type": "fpe2", "bytes": "0fa0"},
    {"key": "F0Mx", "type": "fpe2", "bytes": "2ee0"},
    {"key": "F1Ac", "type": "fpe2", "bytes": "0fa0"},
    {"key": "F1Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F1Mx", "type": "fpe2", "bytes": "2ee0"},
    {"key": "F2Ac", "type": "fpe2", "bytes": "3e80"},
    {"key": "F2Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F2Mx", "type": "fpe2", "bytes": "2ee0"},
    {"key": "F3Ac", "type": "fpe2", "bytes": "1f40"},
    {"key": "F3Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F3Mx", "type": "fpe2", "bytes": "1f40"},
    {"key": "F4Ac", "type": "flt ", "bytes": "0000c07f"},
    {"key": "F4Mn", "type": "fpe2", "bytes": "1f40"},
    {"key": "F4Mx", "type": "fpe2", "bytes": "2ee0"},
    {"key": "TC0P", "type": "sp78", "bytes": "2d80"}
  ]}})";

class KelvoraSensors : public ::testing::Test {
 protected:
  // Settings as another program of the product left them.
  void choose(const std::string& entries) {
    folder_.write("group.com.kelvora/Settings.plist",
                  "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>" +
                      entries + "</dict></plist>");
  }
  ProgramResult run(const std::string& option = "--machine", const std::string& machine = "") {
    std::vector<std::string> arguments = {"sensors", "--machine",
                                          machine.empty() ? machine_ : machine};
    if (option == "--json") {
      arguments.push_back(option);
    }
    return runKelvora(arguments, {{"XDG_CONFIG_HOME", folder_.path()}});
  }
  std::string text() { return run().standardOutput; }
  const std::string& machine() const { return machine_; }
  std::string folder() const { return folder_.path(); }
  // A machine without sensors of some title.
  std::string title(const std::string& title) {
    return folder_.write("title.json",
                         R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64",
                             "title": ")" +
                             title + R"("})");
  }

 private:
  TemporaryFolder folder_;
  std::string machine_ = folder_.write("machine.json", kFans);
};

TEST_F(KelvoraSensors, ShowCelsiusAndRevolutionsToANewUser) {
  const std::string report = text();
  EXPECT_THAT(report, ContainsRegex("CPU Proximity Temperature +46°C  TC0P"));
  EXPECT_THAT(report, ContainsRegex("2000rpm  0 +1000rpm to 3000rpm"));
}

TEST_F(KelvoraSensors, ShowFahrenheitWhenTheUserChoseIt) {
  choose("<key>KVTempUnitCelsius</key><false/>");
  const std::string report = text();
  EXPECT_THAT(report, ContainsRegex("CPU Proximity Temperature +114°F  TC0P"));
  EXPECT_THAT(report, Not(HasSubstr("°C")));
}

TEST_F(KelvoraSensors, ShowFansAsThePlaceInTheirRangeAndLimitsStillInRevolutions) {
  choose("<key>KVFanValueTypeKey</key><integer>1</integer>");
  const std::string report = text();
  EXPECT_THAT(report, ContainsRegex(" 50%  0 +1000rpm to 3000rpm"));
  EXPECT_THAT(report, ContainsRegex(" 0%  1 +2000rpm to 3000rpm")) << "below the range";
  EXPECT_THAT(report, ContainsRegex(" 100%  2 +2000rpm to 3000rpm")) << "above the range";
  EXPECT_THAT(report, ContainsRegex(" –  3 +2000rpm to 2000rpm")) << "no range";
  EXPECT_THAT(report, ContainsRegex(" –  4 +2000rpm to 3000rpm")) << "no number";
}

TEST_F(KelvoraSensors, AreLabelledInTheUsersLanguage) {
  choose("<key>CURRENT_LANGUAGE_KEY</key><string>de</string>");
  EXPECT_THAT(text(), ContainsRegex("Temperatur CPU Proximity +46°C  TC0P"));
  choose("<key>CURRENT_LANGUAGE_KEY</key><string>pt</string>");
  EXPECT_THAT(text(), ContainsRegex("  CPU Proximity +46°C  TC0P")) << "no such table";
}

TEST_F(KelvoraSensors, HaveHeadingsFansAndRemarksInTheUsersLanguage) {
  struct Language {
    const char* code;
    const char* heading;
    const char* fan;
    const char* fastest;
    const char* limits;
    const char* computed;
  };
  for (const Language& each :
       {Language{"en", "Fans", "Fan 1", "Fastest Fan", "1000rpm to 3000rpm", "computed"},
        Language{"de", "Lüfter", "Lüfter 1", "Schnellster Lüfter", "1000rpm bis 3000rpm",
                 "berechnet"},
        Language{"fr", "Ventilateurs", "Ventilateur 1", "Ventilateur le plus rapide",
                 "1000rpm à 3000rpm", "calculé"},
        Language{"es", "Ventiladores", "Ventilador 1", "Ventilador más rápido", "1000rpm a 3000rpm",
                 "calculado"},
        Language{"tr", "Fanlar", "1\\. fan", "En hızlı fan", "1000rpm – 3000rpm", "hesaplanan"},
        Language{"vi", "Quạt", "Quạt 1", "Quạt nhanh nhất", "1000rpm đến 3000rpm", "được tính"},
        Language{"zh-Hans", "风扇", "风扇 1", "最快的风扇", "1000rpm 至 3000rpm", "计算值"},
        Language{"zh-Hant", "風扇", "風扇 1", "最快的風扇", "1000rpm 至 3000rpm", "計算值"},
        Language{"pt", "Fans", "Fan 1", "Fastest Fan", "1000rpm to 3000rpm", "computed"}}) {
    choose(std::string("<key>CURRENT_LANGUAGE_KEY</key><string>") + each.code + "</string>");
    const std::string report = text();
    EXPECT_THAT(report, HasSubstr(std::string("\n\n") + each.heading + "\n")) << each.code;
    EXPECT_THAT(report, ContainsRegex(std::string("\n  ") + each.fan + " +2000rpm  0 +" +
                                      each.limits + "\n"))
        << each.code;
    EXPECT_THAT(report, ContainsRegex(std::string("\n  ") + each.fastest +
                                      " +4000rpm  FastestFan +" + each.computed + "\n"))
        << each.code;
  }
}

TEST_F(KelvoraSensors, KeepTheNameThatTheMachineGivesAFan) {
  const auto fansOf = [&](const std::string& language) {
    choose("<key>CURRENT_LANGUAGE_KEY</key><string>" + language + "</string>");
    return run("--machine", "iMac19,1").standardOutput;
  };
  EXPECT_THAT(fansOf("en"), ContainsRegex("\n\nFans\n  Main +1203rpm"));
  EXPECT_THAT(fansOf("de"), ContainsRegex("\n\nLüfter\n  Lüfter Main +1203rpm"));
  EXPECT_THAT(fansOf("es"), ContainsRegex("\n\nVentiladores\n  Ventilador: Main +1203rpm"));
}

TEST_F(KelvoraSensors, HaveAHeadingForEachGroupInTheUsersLanguage) {
  choose("<key>CURRENT_LANGUAGE_KEY</key><string>de</string>");
  const std::string report = run("--machine", "MacBookPro10,1").standardOutput;
  std::size_t place = 0;
  for (const char* heading : {"CPU", "GPU", "Arbeitsspeicher", "Hauptplatine und Chipsatz",
                              "Luftstrom und WLAN", "Massenspeicher", "Batterie",
                              "Netzteil und Energieverwaltung", "Lüfter", "Unbekannte Sensoren"}) {
    const std::size_t found = report.find(std::string("\n\n") + heading + "\n", place);
    ASSERT_NE(found, std::string::npos) << heading << " in" << report;
    place = found + 1;
  }
}

TEST_F(KelvoraSensors, StayRawInJSONWhateverTheUserChose) {
  const auto sensors = [&] {
    return nlohmann::json::parse(run("--json").standardOutput)["sensors"];
  };
  const auto before = sensors();
  choose(
      "<key>KVTempUnitCelsius</key><false/><key>KVFanValueTypeKey</key><integer>1</integer>"
      "<key>CURRENT_LANGUAGE_KEY</key><string>de</string>");
  EXPECT_EQ(sensors(), before);
  const auto found = std::ranges::find_if(
      before, [](const nlohmann::json& sensor) { return sensor["key"] == "TC0P"; });
  ASSERT_NE(found, before.end());
  EXPECT_EQ((*found)["value"], 45.5);
  EXPECT_EQ((*found)["unit"], "°C");
  EXPECT_EQ((*found)["name"], "CPU Proximity");
}

// The end of a reading of a machine with these keys, behind the sensors.
ProgramResult readingOf(const std::string& smc, const std::string& more = "") {
  const TemporaryFolder folder;
  const std::string file = folder.write(
      "machine.json",
      R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64", "title": "T")" + smc +
          "}");
  std::vector<std::string> arguments = {"sensors", "--machine", file};
  if (!more.empty()) {
    arguments.push_back(more);
  }
  return runKelvora(arguments);
}

constexpr char kFanWithoutName[] = R"(, "smc": {"keys": [
  {"key": "#KEY", "type": "ui32", "bytes": "00000005"},
  {"key": "FNum", "type": "ui8 ", "bytes": "01"},
  {"key": "F0Ac", "type": "fpe2", "bytes": "1f40"},
  {"key": "F0Mn", "type": "fpe2", "bytes": "0fa0"},
  {"key": "F0Mx", "type": "fpe2", "bytes": "2ee0", "status": 1}]})";

TEST(MissingKeys, AreEachNamedOnceAsNotRecorded) {
  const std::string report = readingOf(kFanWithoutName).standardOutput;
  EXPECT_THAT(report, HasSubstr("\n\nNot in this recording\n  F0ID\n\nNot readable\n"
                                "  SMC read (F0Mx) failed\n"));
  const auto reading = nlohmann::json::parse(readingOf(kFanWithoutName, "--json").standardOutput);
  EXPECT_EQ(reading["notInRecording"], nlohmann::json({"F0ID"}));
  EXPECT_THAT(reading["failures"].dump(), HasSubstr("F0ID")) << "every message of the library";
}

TEST(MissingKeys, AreTheWholeSMCWhereNoneWasRecorded) {
  const ProgramResult result = readingOf(R"(, "hid": [{"usagePage": 65280, "usage": 5,
      "product": "PMU tdie1", "events": {"15": 44.28}}])");
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.standardError, Not(HasSubstr("SMC")));
  EXPECT_THAT(result.standardOutput, EndsWith("\n\nNot in this recording\n  SMC\n"));
}

TEST_F(KelvoraSensors, NameWhatIsMissingInTheUsersLanguage) {
  choose("<key>CURRENT_LANGUAGE_KEY</key><string>de</string>");
  setenv("XDG_CONFIG_HOME", folder().c_str(), 1);
  EXPECT_THAT(readingOf(kFanWithoutName).standardOutput,
              HasSubstr("\n\nNicht in dieser Aufzeichnung\n  F0ID\n\nNicht lesbar\n"
                        "  SMC read (F0Mx) failed\n"));
}

TEST_F(KelvoraSensors, NameComputedTemperaturesInTheUsersLanguage) {
  const auto reading = [&](const std::string& language) {
    choose("<key>CURRENT_LANGUAGE_KEY</key><string>" + language + "</string>");
    return run("--machine", "Macmini9,1").standardOutput;
  };
  EXPECT_THAT(reading("en"), ContainsRegex("\n  Average CPU Temperature +21°C  AverageCPU  "));
  EXPECT_THAT(reading("de"),
              ContainsRegex("\n  Höchsttemperatur GPU +30°C  HottestGPU  berechnet"));
  EXPECT_THAT(reading("zh-Hans"), ContainsRegex("\n  CPU 平均温度 +21°C  AverageCPU  计算值"));
}

TEST_F(KelvoraSensors, AreInTheCharacterSetOfTheLocale) {
  const auto in = [&](const char* locale, const char* variable = "LC_ALL") {
    return runKelvora({"sensors", "--machine", machine()},
                      {{"XDG_CONFIG_HOME", folder()}, {variable, locale}})
        .standardOutput;
  };
  choose("<key>CURRENT_LANGUAGE_KEY</key><string>de</string>");
  EXPECT_THAT(in("de_DE.UTF-8"), ContainsRegex("\nLüfter\n.*")) << "UTF-8";
  EXPECT_THAT(in("C.UTF-8"), HasSubstr(" 46°C  TC0P"));
  EXPECT_THAT(in("de_DE"), HasSubstr(" 46°C  TC0P")) << "no character set";
  EXPECT_THAT(in("de_DE.no-such-set"), HasSubstr(" 46°C  TC0P"));
  EXPECT_THAT(in("de_DE.ISO-8859-15@euro"), HasSubstr(" 46\xb0"
                                                      "C  TC0P"));
  EXPECT_THAT(in("de_DE.ISO-8859-1"), HasSubstr("\nL\xfc"
                                                "fter\n"));
  EXPECT_THAT(in("C"), HasSubstr(" 46 C  TC0P"));
  EXPECT_THAT(in("POSIX"), ContainsRegex("\nLufter\n.*")) << "letters without marks";
  EXPECT_THAT(in("C"), ContainsRegex("  Lufter 5 +-  4 +2000rpm bis 3000rpm")) << "no reading";
  choose("<key>CURRENT_LANGUAGE_KEY</key><string>zh-Hans</string>");
  const std::string ascii = in("C");
  EXPECT_TRUE(std::ranges::all_of(ascii, [](char each) { return each >= 0 && each != '\x1a'; }))
      << ascii;
}

TEST_F(KelvoraSensors, AreUTF8InJSONWhateverTheLocale) {
  const auto in = [&](const char* locale) {
    return runKelvora({"sensors", "--json", "--machine", title("Mac °")},
                      {{"XDG_CONFIG_HOME", folder()}, {"LC_ALL", locale}})
        .standardOutput;
  };
  EXPECT_THAT(in("C"), HasSubstr("Mac °"));
  EXPECT_THAT(in("de_DE.ISO-8859-1"), HasSubstr("Mac °"));
}

// A machine with one fan whose limits are little-endian single-precision numbers.
std::string machineWithLimits(const std::string& least, const std::string& most) {
  return R"({"format": "kelvora-machine", "version": 1, "architecture": "x86_64", "title": "T",
             "sysctl": {"machdep.cpu.brand_string": "Intel"}, "smc": {"keys": [
             {"key": "FNum", "type": "ui8 ", "bytes": "01"},
             {"key": "F0Ac", "type": "fpe2", "bytes": "1f40"},
             {"key": "F0Mn", "type": "flt ", "bytes": ")" +
         least + R"("}, {"key": "F0Mx", "type": "flt ", "bytes": ")" + most + R"("}]}})";
}

TEST(SensorLimits, ThatAreNotSpeedsAreADash) {
  const TemporaryFolder folder;
  const auto limits = [&](const std::string& least, const std::string& most) {
    const std::string path = folder.write("machine.json", machineWithLimits(least, most));
    return runKelvora({"sensors", "--machine", path}).standardOutput;
  };
  EXPECT_THAT(limits("0000c07f", "0000c07f"), HasSubstr("2000rpm  0  – to –\n")) << "nan";
  EXPECT_THAT(limits("0000c0ff", "00007045"), HasSubstr("  0  – to 3840rpm\n")) << "-nan";
  EXPECT_THAT(limits("0000807f", "000080ff"), HasSubstr("  0  – to –\n")) << "inf, -inf";
  EXPECT_THAT(limits("ffff7f7f", "ffff7fff"), HasSubstr("  0  – to –\n")) << "largest numbers";
}

// A machine whose second sensor has a name of `length` characters.
std::string machineWithLongName(std::size_t length) {
  return R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64", "title": "T",
             "sysctl": {"machdep.cpu.brand_string": "Apple M1"}, "hid": [
             {"usagePage": 65280, "usage": 5, "product": "Xy", "events": {"15": 20}},
             {"usagePage": 65280, "usage": 5, "product": ")" +
         std::string(length, 'z') + R"(", "events": {"15": 30}}]})";
}

TEST(SensorColumns, AnUnusuallyLongNameMovesItsOwnLineOnly) {
  const TemporaryFolder folder;
  const auto reading = [&](std::size_t length) {
    const std::string path = folder.write("machine.json", machineWithLongName(length));
    return runKelvora({"sensors", "--machine", path}).standardOutput;
  };
  const std::string zs(37, 'z');  // with "Temperature" behind it 49 columns
  EXPECT_THAT(reading(37), HasSubstr("\n  Xy Temperature  20°C  Xy\n"));
  EXPECT_THAT(reading(37), HasSubstr("\n  " + zs + " Temperature  30°C  " + zs + "\n"));
  EXPECT_THAT(reading(36), HasSubstr("\n  Xy Temperature" + std::string(34, ' ') + "  20°C  Xy\n"))
      << "48 columns still are a column";
}

TEST(SensorColumns, ALongNameIsCutWhereTheTerminalEnds) {
  const TemporaryFolder folder;
  const std::string path = folder.write("machine.json", machineWithLongName(60));
  const auto reading = [&](unsigned short columns) {
    return runInTerminal(KELVORA_PROGRAM, {"sensors", "--machine", path}, columns,
                         {{"NO_COLOR", "1"}})
        .standardOutput;
  };
  const std::string zs(60, 'z');
  EXPECT_THAT(reading(80), HasSubstr("\n  " + zs + " Temperature  30°C\n    " + zs + "\n"));
  EXPECT_THAT(reading(80), HasSubstr("\n  Xy Temperature  20°C  Xy\n"));
  EXPECT_THAT(reading(50), HasSubstr("\n  " + std::string(41, 'z') + "…  30°C\n"));
  EXPECT_THAT(reading(50), HasSubstr("\n  Xy Temperature  20°C  Xy\n"));
}

// Keys of the sensors that a call of `sensors` shows of the iMac.
std::vector<std::string> shownKeys(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--machine", "iMac19,1", "sensors", "--json"});
  const auto report = nlohmann::json::parse(runKelvora(arguments).standardOutput);
  std::vector<std::string> keys;
  for (const auto& sensor : report["sensors"]) {
    keys.push_back(sensor["key"]);
  }
  return keys;
}

TEST(SensorFilters, KeysChooseSensorsInTheOrderOfAReading) {
  EXPECT_EQ(shownKeys({"TG0P", "TC0P"}), (std::vector<std::string>{"TC0P", "TG0P"}));
  const ProgramResult text = runKelvora({"sensors", "TC0P", "--machine", "iMac19,1"});
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(text.standardOutput, ContainsRegex("^iMac 27-inch 2019 \\(recorded\\)\n\nCPU\n"
                                                 "  CPU Proximity[^\n]+TC0P\n$"));
}

TEST(SensorFilters, GroupAndTypeMustBothFit) {
  const auto all = shownKeys({});
  const auto group = shownKeys({"--group", "gpu"});
  const auto type = shownKeys({"--type", "temperature"});
  const auto both = shownKeys({"--group", "gpu", "--type", "temperature"});
  ASSERT_FALSE(both.empty());
  EXPECT_LT(both.size(), group.size());
  EXPECT_LT(group.size(), all.size());
  std::vector<std::string> expected;
  for (const std::string& key : group) {
    if (std::ranges::find(type, key) != type.end()) {
      expected.push_back(key);
    }
  }
  EXPECT_EQ(both, expected);
  EXPECT_TRUE(shownKeys({"--group", "fan", "--type", "voltage"}).empty());
}

TEST(SensorFilters, EveryGroupAndEveryTypeTogetherAreTheWholeReading) {
  const std::size_t all = shownKeys({}).size();
  std::size_t ofGroups = 0;
  for (const char* group : {"cpu", "gpu", "memory", "mainboard", "airflow", "storage", "drivebay",
                            "battery", "power", "display", "fan", "unknown"}) {
    ofGroups += shownKeys({"--group", group}).size();
  }
  EXPECT_EQ(ofGroups, all);
  std::size_t ofTypes = 0;
  for (const char* type : {"temperature", "fan", "voltage", "current", "power"}) {
    ofTypes += shownKeys({"--type", type}).size();
  }
  EXPECT_EQ(ofTypes, all);
}

TEST(SensorFilters, AKeyWithoutASensorIsNamedAfterTheReport) {
  const ProgramResult result = runKelvora({"sensors", "TC0P", "XXXX", "--machine", "iMac19,1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.standardOutput, HasSubstr("TC0P\n"));
  EXPECT_THAT(result.standardError, HasSubstr("kelvora: XXXX: no sensor has this key\n"));
  EXPECT_THAT(runKelvora({"sensors", "--machine", "Macmini8,1", "TC0p"}).standardError,
              HasSubstr("kelvora: TC0p: no sensor has this key; did you mean TC0P?\n"));
  EXPECT_THAT(runKelvora({"sensors", "--machine", "Macmini8,1", ""}).standardError,
              HasSubstr("kelvora: '': no sensor has this key\n"));
}

TEST(SensorFilters, WhatOtherSensorsLackIsNotReported) {
  const std::vector<std::string> all = {"sensors", "--machine", "MacBookPro15,1"};
  EXPECT_THAT(runKelvora(all).standardOutput, HasSubstr("Not in this recording"));
  EXPECT_THAT(runKelvora({"sensors", "TC0P", "--machine", "MacBookPro15,1"}).standardOutput,
              ::testing::Not(HasSubstr("Not in this recording")));
  const ProgramResult none =
      runKelvora({"sensors", "--group", "gpu", "--type", "fan", "--machine", "MacBookPro15,1"});
  EXPECT_EQ(none.status, 0);
  EXPECT_THAT(none.standardOutput, EndsWith("\n\nno sensor matches\n"));
}

TEST(SensorFilters, AnUnknownGroupOrTypeIsRefusedWithTheKnownOnes) {
  const ProgramResult group = runKelvora({"sensors", "--group", "fans"});
  EXPECT_EQ(group.status, 2);
  EXPECT_THAT(group.standardError, HasSubstr("--group: takes cpu, gpu, memory, mainboard, airflow, "
                                             "storage, drivebay, battery, power, display, fan or "
                                             "unknown"));
  EXPECT_THAT(runKelvora({"sensors", "--type", "heat"}).standardError,
              HasSubstr("--type: takes temperature, fan, voltage, current or power"));
}

}  // namespace
}  // namespace kelvora::testing
