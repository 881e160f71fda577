// Which points `history` shows, and as what: readings, gaps, times, JSON and CSV.

#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/KelvoraHistory.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::ContainsRegex;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

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

TEST_F(KelvoraHistory, WhatIsNotAReadingIsAGapAndDoesNotCountAsAnExtreme) {
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
  record("H", "H", kTemperature, kHour,
         {{1000, 40}, {900, 40}, {800, 40}, {499, 40}, {400, 40}, {300, 40}});
  EXPECT_EQ(curves("H"), 2) << "and a pause of it";
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

}  // namespace
}  // namespace kelvora::testing
