// The plot that `history` draws in the terminal.

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/KelvoraHistory.h"
#include "tools/kelvora/Text.h"

namespace kelvora::testing {
namespace {

using ::testing::AllOf;
using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

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
  for (const unsigned short columns : std::initializer_list<unsigned short>{20, 30, 40, 80, 200}) {
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

TEST_F(KelvoraHistory, ASettingThatIsNotARangeCountsAsAWeek) {
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

}  // namespace
}  // namespace kelvora::testing
