// What `history` shows of a store that another program has written.

#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/tools/HistoryFixture.h"
#include "tests/tools/KelvoraProgram.h"
#include "tools/kelvora/Text.h"

namespace kelvora::testing {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

enum Series : std::int16_t { kHour, kDay, kWeek };
enum Type : std::int16_t { kTemperature, kFan, kVoltage };

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

class KelvoraHistory : public HistoryFixture {
 protected:
  ProgramResult history(std::vector<std::string> arguments,
                        const Environment& environment = {}) const {
    arguments.insert(arguments.begin(), "history");
    return runKelvora(arguments, environment);
  }
  std::string text(const std::vector<std::string>& arguments,
                   const Environment& environment = {}) const {
    const ProgramResult result = history(arguments, environment);
    EXPECT_EQ(result.status, 0) << result.standardError;
    EXPECT_EQ(result.standardError, "");
    return result.standardOutput;
  }
  json report(std::vector<std::string> arguments) const {
    arguments.emplace_back("--json");
    return json::parse(text(arguments));
  }
  void set(const std::string& setting, const std::string& value) const {
    ASSERT_EQ(runKelvora({"settings", "set", setting, value}).status, 0);
  }
  void expectRefusal(const std::vector<std::string>& arguments, int status,
                     const std::string& line) const {
    const ProgramResult result = history(arguments);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_THAT(result.standardError, AllOf(StartsWith("kelvora: "), HasSubstr(line)));
    EXPECT_EQ(lineCount(result.standardError), 1);
  }
  // A point each minute of the day, from 30 to 79 degrees.
  void recordDay() {
    std::vector<RecordedPoint> points;
    for (int i = 1439; i >= 0; --i) {
      points.push_back({60.0 * i + 1, 30.0 + (1439 - i) * 49 / 1439.0});
    }
    record("TC0P", "CPU Proximity", kTemperature, kDay, points);
  }
};

TEST_F(KelvoraHistory, APlotHasTitleAxesAndSummary) {
  recordDay();
  const auto lines = linesOf(text({"TC0P", "--range", "day"}));
  ASSERT_EQ(lines.size(), 2 + 13 + 2 + 2U);
  EXPECT_THAT(lines[0],
              AllOf(StartsWith("CPU Proximity Temperature (TC0P) "), EndsWith(" Last 24 hours")));
  EXPECT_EQ(lines[1], "");
  EXPECT_THAT(lines[2], StartsWith("100°C ┤"));
  EXPECT_THAT(lines[4], StartsWith(" 80°C ┤"));
  EXPECT_THAT(lines[5], EndsWith("⠉⠉⠁")) << "the newest value is at the right";
  EXPECT_THAT(lines[14], StartsWith("  0°C ┤"));
  EXPECT_THAT(lines[15], StartsWith("      └┬"));
  EXPECT_THAT(lines[16], ContainsRegex("^ +[0-9]+:[0-9]+( +[0-9]+:[0-9]+){6}$"));
  EXPECT_EQ(lines[18], "Minimum 30°C   Maximum 79°C   Last 79°C");
  for (const std::string& line : lines) {
    EXPECT_LE(tool::displayWidth(line), 80U);
  }
  EXPECT_EQ(tool::displayWidth(lines[0]), 80U);
}

TEST_F(KelvoraHistory, ATerminalOfAnyWidthIsFilledAndNotExceeded) {
  recordDay();
  for (const unsigned short columns : std::initializer_list<unsigned short>{20, 40, 80, 200}) {
    const auto lines = linesOf(runInTerminal(KELVORA_PROGRAM, {"history", "TC0P", "--range", "day"},
                                             columns, {{"NO_COLOR", "1"}})
                                   .standardOutput);
    std::size_t widest = 0;
    for (const std::string& line : lines) {
      widest = std::max(widest, tool::displayWidth(line));
    }
    EXPECT_EQ(widest, columns);
  }
}

TEST_F(KelvoraHistory, OnATerminalTheCurveHasAColour) {
  recordDay();
  const std::vector<std::string> arguments{"history", "TC0P", "--range", "day"};
  EXPECT_THAT(runInTerminal(KELVORA_PROGRAM, arguments, 80).standardOutput, HasSubstr("\x1b[36m"));
  EXPECT_THAT(runInTerminal(KELVORA_PROGRAM, arguments, 80, {{"NO_COLOR", "1"}}).standardOutput,
              Not(HasSubstr("\x1b")));
  EXPECT_THAT(text({"TC0P"}), Not(HasSubstr("\x1b")));
}

TEST_F(KelvoraHistory, ACharacterSetWithoutBrailleGetsAscii) {
  recordDay();
  for (const char* locale : {"C", "de_DE.ISO-8859-1", "de_DE.CP437"}) {
    const std::string plot = text({"TC0P", "--range", "day"}, {{"LC_ALL", locale}});
    EXPECT_THAT(plot, ContainsRegex("100.C \\+")) << locale;
    EXPECT_THAT(plot, HasSubstr("|")) << locale;
    EXPECT_THAT(plot, Not(HasSubstr("?"))) << locale;
  }
  for (const char* locale : {"C.UTF-8", "zh_CN.GB18030"}) {
    EXPECT_THAT(text({"TC0P", "--range", "day"}, {{"LC_ALL", locale}}), Not(HasSubstr("100?C +")));
  }
  EXPECT_THAT(text({"TC0P", "--range", "day"}), HasSubstr("┤"));
}

TEST_F(KelvoraHistory, ValuesAreInTheUnitOfTheSettings) {
  record("TC0P", "CPU", kTemperature, kHour, {{60, 45}, {50, 50}});
  set("tempUnitCelsius", "false");
  const std::string plot = text({"TC0P", "--range", "hour"});
  EXPECT_THAT(plot, HasSubstr("Minimum 113°F   Maximum 122°F   Last 122°F"));
  EXPECT_THAT(plot, HasSubstr("250°F ┤"));
  EXPECT_THAT(plot, Not(HasSubstr("°C")));
}

// Of the upper limit, which is 100.
TEST_F(KelvoraHistory, FansMayBeInPerCent) {
  record("F0Ac", "Fan 1", kFan, kHour, {{60, 29}, {50, 75}});
  EXPECT_THAT(text({"F0Ac", "--range", "hour"}),
              AllOf(HasSubstr("Minimum 29rpm"), StartsWith("Fan 1  ")));
  set("fanValueType", "1");
  const std::string plot = text({"F0Ac", "--range", "hour"});
  EXPECT_THAT(plot, HasSubstr("Minimum 28%   Maximum 75%   Last 75%"))
      << "the library cuts percentages";
  for (const char* label : {"100% ┤", " 80% ┤", " 60% ┤", " 40% ┤", " 20% ┤", "  0% ┤"}) {
    EXPECT_THAT(plot, HasSubstr(label));
  }
}

TEST_F(KelvoraHistory, AFanWithoutAnUpperLimitHasNoPerCent) {
  record("F0Ac", "Fan 1", kFan, kHour, {{60, 29}, {50, 29}});
  KVCoreDataStore store(-1, *platform_);
  store.getSensorByKey("F0Ac")->setMaxValue(0);
  ASSERT_EQ(store.viewContext()->save(), std::nullopt);
  set("fanValueType", "1");
  EXPECT_THAT(text({"F0Ac", "--range", "hour"}), HasSubstr("No readings"))
      << "a fraction of no limit";
}

TEST_F(KelvoraHistory, TheValueAxisIsAroundTheReadingsWhereTheSensorHasNoRange) {
  record("VC0C", "CPU Core", kVoltage, kHour, {{60, 11.5}, {50, 12.5}});
  const auto setLimits = [this](double least, double most) {
    KVCoreDataStore store(-1, *platform_);
    store.getSensorByKey("VC0C")->setMinValue(least);
    store.getSensorByKey("VC0C")->setMaxValue(most);
    ASSERT_EQ(store.viewContext()->save(), std::nullopt);
  };
  setLimits(0, 0);
  EXPECT_THAT(text({"VC0C", "--range", "hour"}),
              AllOf(HasSubstr("12.60V ┤"), HasSubstr("11.40V ┤")));
  setLimits(100, -100);
  EXPECT_THAT(text({"VC0C", "--range", "hour"}), HasSubstr("11.40V ┤"));
  setLimits(-50, 20);
  EXPECT_THAT(text({"VC0C", "--range", "hour"}),
              AllOf(HasSubstr("20.00V ┤"), HasSubstr(" 0.00V ┤"), Not(HasSubstr("- ┤"))))
      << "a label below 0 would be a dash";
}

TEST_F(KelvoraHistory, ASettingThatIsNoRangeCountsAsAWeek) {
  record("TC0P", "CPU", kTemperature, kWeek, {{60, 33}});
  KVSettings(*platform_).setGraphTimeRange(7);
  EXPECT_EQ(report({"TC0P"})["range"], "week");
  EXPECT_EQ(report({"TC0P"})["last"], 33);
}

TEST_F(KelvoraHistory, TextsAreInTheLanguageOfTheUser) {
  recordDay();
  set("currentLanguage", "de");
  const std::string plot = text({"TC0P", "--range", "day"});
  EXPECT_THAT(plot, StartsWith("Temperatur CPU Proximity (TC0P) "));
  EXPECT_THAT(plot, HasSubstr("Letzte 24 Stunden\n"));
  EXPECT_THAT(plot, HasSubstr("Minimum 30°C   Maximum 79°C   Zuletzt 79°C"));
  EXPECT_THAT(text({"TC0P", "--range", "week"}), HasSubstr("Keine Messwerte in dieser Zeit"));
}

TEST_F(KelvoraHistory, TheRangeIsThatOfTheSettingUnlessItIsGiven) {
  record("TC0P", "CPU", kTemperature, kHour, {{60, 11}});
  record("TC0P", "CPU", kTemperature, kDay, {{60, 22}});
  record("TC0P", "CPU", kTemperature, kWeek, {{60, 33}});
  EXPECT_EQ(report({"TC0P"})["range"], "hour");
  EXPECT_EQ(report({"TC0P"})["last"], 11);
  for (const auto& [number, name, value] :
       {std::tuple{"0", "hour", 11}, std::tuple{"1", "day", 22}, std::tuple{"2", "week", 33}}) {
    set("graphTimeRange", number);
    EXPECT_EQ(report({"TC0P"})["range"], name);
    EXPECT_EQ(report({"TC0P"})["last"], value);
    EXPECT_EQ(report({"TC0P", "--range", "day"})["last"], 22);
  }
  expectRefusal({"TC0P", "--range", "year"}, 2, "takes hour, day or week");
}

TEST_F(KelvoraHistory, JSONHasRawValuesAndTimes) {
  set("tempUnitCelsius", "false");
  record("TC0P", "CPU", kTemperature, kHour, {{120, 45.5}, {60, 47}, {30, 46.25}});
  const json found = report({"TC0P", "--range", "hour"});
  EXPECT_EQ(found["sensor"], (json{{"key", "TC0P"}, {"name", "CPU"}, {"fullName", "CPU"}}));
  EXPECT_EQ(found["unit"], "°C");
  EXPECT_EQ(found["minimum"], 45.5);
  EXPECT_EQ(found["maximum"], 47);
  EXPECT_EQ(found["last"], 46.25);
  ASSERT_EQ(found["points"].size(), 3U);
  EXPECT_EQ(found["points"][1]["value"], 47);
  char expected[32];
  const auto second = static_cast<std::time_t>(std::floor(now_ - 60));
  std::strftime(expected, sizeof expected, "%Y-%m-%dT%H:%M:%S+00:00", std::gmtime(&second));
  EXPECT_EQ(found["points"][1]["time"], expected);
  EXPECT_LT(found["from"], found["points"][0]["time"]);
  EXPECT_GT(found["until"], found["points"][2]["time"]);
}

TEST_F(KelvoraHistory, TimesHaveTheHourOfTheWholeDay) {
  std::vector<RecordedPoint> points;
  for (int hour = 23; hour >= 0; --hour) {
    points.push_back({hour * 3600.0 + 1, 45});
  }
  record("TC0P", "CPU", kTemperature, kDay, points);
  const std::string csv = text({"TC0P", "--range", "day", "--csv"});
  for (int hour = 0; hour < 24; ++hour) {
    EXPECT_THAT(csv, ContainsRegex((hour < 10 ? "T0" : "T") + std::to_string(hour) + ":"));
  }
}

TEST_F(KelvoraHistory, CSVHasALineForEachPoint) {
  record("VC0C", "CPU Core", kVoltage, kHour, {{120, 1.25}, {60, 0.1}, {59, 1e-7}});
  const auto lines = linesOf(text({"VC0C", "--range", "hour", "--csv"}, {{"TZ", "CET-1"}}));
  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[0], "time,value (V)");
  EXPECT_THAT(lines[1], ContainsRegex("^20..-..-..T..:..:..\\+01:00,1\\.25$"));
  EXPECT_THAT(lines[2], EndsWith(",0.1"));
  EXPECT_THAT(lines[3], EndsWith(",1e-07"));
}

TEST_F(KelvoraHistory, PointsOutsideTheTimeAreLeftOut) {
  record("TC0P", "CPU", kTemperature, kHour, {{3700, 99}, {3500, 40}, {1000, 50}, {-3000, 98}});
  const json found = report({"TC0P", "--range", "hour"});
  EXPECT_EQ(found["points"].size(), 2U);
  EXPECT_EQ(found["maximum"], 50);
  EXPECT_EQ(found["last"], 50);
}

TEST_F(KelvoraHistory, TimesThatNoDateHoldsAreLeftOut) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  record("TC0P", "CPU", kTemperature, kHour,
         {{1e300, 40}, {-1e300, 41}, {kInfinity, 42}, {-kInfinity, 43}, {1.2e10, 44}});
  EXPECT_EQ(linesOf(text({"TC0P", "--range", "hour"})).back(), "No readings in this time");
}

TEST_F(KelvoraHistory, PointsAreInOrderOfTime) {
  record("TC0P", "CPU", kTemperature, kHour, {{100, 40}, {300, 50}, {200, 60}});
  const json found = report({"TC0P", "--range", "hour"});
  EXPECT_EQ(found["points"][0]["value"], 50);
  EXPECT_EQ(found["points"][2]["value"], 40);
  EXPECT_EQ(found["last"], 40);
}

TEST_F(KelvoraHistory, ARecordingThatEndedEarlierIsSaid) {
  record("TC0P", "CPU", kTemperature, kHour, {{90000, 41}, {90010, 42}, {89000, -1}});
  char date[32];
  const auto second = static_cast<std::time_t>(std::floor(now_ - 90000));
  std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", std::gmtime(&second));
  const auto lines = linesOf(text({"TC0P", "--range", "hour"}));
  EXPECT_THAT(lines,
              ElementsAre(StartsWith("CPU Temperature (TC0P)"), "", "No readings in this time",
                          std::string("Last 41°C (") + date + ")"));
  EXPECT_EQ(report({"TC0P", "--range", "hour"})["last"], nullptr);
}

TEST_F(KelvoraHistory, ASensorWithoutPointsHasAnEmptyPlot) {
  record("TC0P", "CPU", kTemperature, kHour, {});
  EXPECT_THAT(linesOf(text({"TC0P", "--range", "hour"})),
              ElementsAre(StartsWith("CPU Temperature (TC0P)"), "", "No readings in this time"));
  const json found = report({"TC0P", "--range", "hour"});
  EXPECT_EQ(found["points"], json::array());
  for (const char* name : {"minimum", "maximum", "last"}) {
    EXPECT_EQ(found[name], nullptr);
  }
  EXPECT_EQ(text({"TC0P", "--csv"}), "time,value (°C)\n");
  const std::string svg = text({"TC0P", "--svg", "-"});
  EXPECT_THAT(svg, HasSubstr(">No readings in this time</text>"));
  EXPECT_THAT(svg, Not(HasSubstr("class=\"curve")));
  EXPECT_THAT(svg, HasSubstr(">100°C</text>")) << "the sensor's range";
}

TEST_F(KelvoraHistory, ASinglePointAndEqualPointsAreDrawn) {
  record("VC0C", "CPU Core", kVoltage, kHour, {{1800, 150}});
  const std::string one = text({"VC0C", "--range", "hour"});
  EXPECT_THAT(one, HasSubstr("Minimum 150.00V   Maximum 150.00V   Last 150.00V"));
  EXPECT_THAT(one, ContainsRegex("[⠁⠂⠄⡀⠈⠐⠠⢀]"));
  EXPECT_THAT(text({"VC0C", "--range", "hour", "--svg", "-"}), HasSubstr("class=\"curve"));
  record("VC0C", "CPU Core", kVoltage, kHour, {{1799, 150}, {1798, 150}});
  EXPECT_THAT(text({"VC0C", "--range", "hour"}), HasSubstr("Minimum 150.00V   Maximum 150.00V"));
}

TEST_F(KelvoraHistory, WhatIsNoReadingIsAGapAndNoExtreme) {
  record("TC0P", "CPU", kTemperature, kHour,
         {{50, 40},
          {45, -1},
          {40, -128},
          {35, std::numeric_limits<double>::infinity()},
          {30, 1e10},
          {25, 50},
          {20, -1}});
  const json found = report({"TC0P", "--range", "hour"});
  EXPECT_EQ(found["minimum"], 40);
  EXPECT_EQ(found["maximum"], 50);
  EXPECT_EQ(found["last"], 50);
  ASSERT_EQ(found["points"].size(), 7U);
  EXPECT_EQ(found["points"][1]["value"], -1);
  EXPECT_EQ(found["points"][3]["value"], nullptr);
  const std::string svg = text({"TC0P", "--range", "hour", "--svg", "-"});
  std::size_t curves = 0;
  for (std::size_t at = svg.find("class=\"curve"); at != std::string::npos;
       at = svg.find("class=\"curve", at + 1)) {
    ++curves;
  }
  EXPECT_EQ(curves, 2U);
  EXPECT_THAT(text({"TC0P", "--range", "hour", "--csv"}), HasSubstr(":00,\n"));
}

TEST_F(KelvoraHistory, APauseOfTheRecordingIsAGap) {
  const auto curves = [this](const std::string& key) {
    const std::string svg = text({key, "--range", "hour", "--svg", "-"});
    std::ptrdiff_t count = -1;
    for (std::size_t at = 0; at != std::string::npos; at = svg.find("class=\"curve", at + 1)) {
      ++count;
    }
    return count;
  };
  record("A", "A", kTemperature, kHour, {{300, 40}, {270, 40}, {240, 40}});
  EXPECT_EQ(curves("A"), 1) << "three steps of the longest interval are no pause";
  record("B", "B", kTemperature, kHour, {{300, 40}, {269, 40}, {268, 40}});
  EXPECT_EQ(curves("B"), 2);
  record("C", "C", kTemperature, kHour,
         {{600, 40}, {500, 40}, {400, 40}, {300, 40}, {200, 40}, {100, 40}});
  EXPECT_EQ(curves("C"), 1) << "a recording in longer steps";
  const auto curvesOf = [&](std::int16_t series, const std::string& key, double pause) {
    record(key, key, kTemperature, series, {{pause + 10, 40}, {10, 40}});
    const std::string svg = text({key, "--range", series == kDay ? "day" : "week", "--svg", "-"});
    return svg.find("class=\"curve\"") != std::string::npos ? 1 : 2;
  };
  EXPECT_EQ(curvesOf(kDay, "D", 179), 1);
  EXPECT_EQ(curvesOf(kDay, "E", 181), 2);
  EXPECT_EQ(curvesOf(kWeek, "F", 1799), 1);
  EXPECT_EQ(curvesOf(kWeek, "G", 1801), 2);
}

TEST_F(KelvoraHistory, ASensorIsFoundByItsNameInAnyCase) {
  record("TC0P", "CPU Proximity", kTemperature, kHour, {{60, 45}});
  record("Tm0P", "Größe", kTemperature, kHour, {{60, 46}});
  EXPECT_EQ(report({"cpu proximity"})["sensor"]["key"], "TC0P");
  EXPECT_EQ(report({"GRÖSSE"})["sensor"]["key"], "Tm0P");
  {
    KVCoreDataStore store(-1, *platform_);
    store.getSensorByKey("Tm0P")->setFullName("Memory Bank 1");
    ASSERT_EQ(store.viewContext()->save(), std::nullopt);
  }
  EXPECT_EQ(report({"memory bank 1"})["sensor"]["key"], "Tm0P");
  expectRefusal({"CPU Proximty"}, 2,
                "no stored sensor has this key or name; did you mean CPU Proximity?");
  expectRefusal({"TC0p"}, 2, "did you mean TC0P?");
  expectRefusal({"zzzzzz"}, 2,
                "zzzzzz: no stored sensor has this key or name ('kelvora history' lists them)");
}

TEST_F(KelvoraHistory, ANameThatSeveralSensorsHaveIsRefusedWithTheirKeys) {
  record("Ta", "Ambient", kTemperature, kHour, {{60, 45}});
  record("Tb", "Ambient", kTemperature, kHour, {{60, 46}});
  record("Ambient", "Other", kTemperature, kHour, {{60, 47}});
  EXPECT_EQ(report({"Ambient"})["last"], 47) << "a key comes first";
  expectRefusal({"ambient"}, 2, "several sensors have this name; their keys are Ta and Tb");
}

TEST_F(KelvoraHistory, WithoutASensorTheOnesWithAHistoryAreListed) {
  record("TC0P", "CPU Proximity", kTemperature, kWeek, {{60, 45}});
  record("F0Ac", "Fan 1", kFan, kHour, {{1e9, 2000}});
  record("VC0C", "CPU Core", kVoltage, kHour, {});
  EXPECT_EQ(text({}), "TC0P  CPU Proximity Temperature\nF0Ac  Fan 1\n");
  const json expected = json::parse(R"({"sensors": [
      {"key": "TC0P", "name": "CPU Proximity", "fullName": "CPU Proximity", "unit": "°C"},
      {"key": "F0Ac", "name": "Fan 1", "fullName": "Fan 1", "unit": "rpm"}]})");
  EXPECT_EQ(report({}), expected);
  for (const char* option : {"--csv", "--svg=-", "--range=day"}) {
    expectRefusal({option}, 2, "needs a SENSOR");
  }
}

TEST_F(KelvoraHistory, WithoutAStoreNothingIsCreated) {
  EXPECT_THAT(text({}), HasSubstr("no history yet ('kelvora record-history' records it)"));
  EXPECT_EQ(report({})["sensors"], json::array());
  expectRefusal({"TC0P"}, 1, "TC0P: no history yet ('kelvora record-history' records it)");
  EXPECT_THAT(snapshot(), IsEmpty());
}

TEST_F(KelvoraHistory, LookingChangesNothing) {
  recordDay();
  const auto before = snapshot();
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {"--json"},
                                                    {"TC0P"},
                                                    {"cpu proximity", "--range", "week"},
                                                    {"TC0P", "--json"},
                                                    {"TC0P", "--csv"},
                                                    {"TC0P", "--svg", "-"}}) {
    EXPECT_EQ(history(arguments).status, 0);
    EXPECT_EQ(snapshot(), before);
  }
}

TEST_F(KelvoraHistory, AStoreThatCannotBeReadIsAnError) {
  const std::string path =
      home_.write("data/group.com.kelvora/Database.sqlite", std::string(5000, 'x'));
  const std::string fault = path + ": file is not a database ('kelvora doctor' says more)";
  expectRefusal({"TC0P"}, 1, fault);
  expectRefusal({}, 1, fault);
}

TEST_F(KelvoraHistory, FormsOfTheReportExcludeEachOther) {
  recordDay();
  expectRefusal({"TC0P", "--json", "--csv"}, 2, "--json, --csv and --svg exclude each other");
  expectRefusal({"TC0P", "--svg", "-", "--csv"}, 2, "exclude each other");
  expectRefusal({"TC0P", "--svg", "-", "--json"}, 2, "exclude each other");
}

TEST_F(KelvoraHistory, EmptyWordsAreRefused) {
  recordDay();
  expectRefusal({"TC0P", "--svg", ""}, 2, "--svg needs a file");
  expectRefusal({""}, 2, ": no stored sensor has this key or name");
}

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

TEST_F(KelvoraHistory, AFullWeekOfASensorFits) {
  std::vector<RecordedPoint> points;
  for (int i = 0; i < 1008; ++i) {
    points.push_back({600.0 * (1007 - i) + 1, 50 + 20 * std::sin(i / 30.0)});
  }
  record("TC0P", "CPU", kTemperature, kWeek, points);
  const auto lines = linesOf(text({"TC0P", "--range", "week"}));
  EXPECT_THAT(lines[lines.size() - 3], ContainsRegex("^ +[0-9]+/[0-9]+( +[0-9]+/[0-9]+){7}$"));
  EXPECT_EQ(lines.back(), "Minimum 30°C   Maximum 70°C   Last 67°C");
}

TEST_F(KelvoraHistory, HelpShowsAnExample) {
  EXPECT_THAT(history({"--help"}).standardOutput, HasSubstr("kelvora history TC0P --range day"));
}

}  // namespace
}  // namespace kelvora::testing
