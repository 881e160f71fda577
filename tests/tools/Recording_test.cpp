// A Mac whose readings change, recorded over simulated days, beside a model of what must be left of
// it. The model knows the readings only, and nothing of the recorder's own constants.
#include "tools/kelvora/Recording.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/OverheatRuleList.h"
#include "tests/tools/RecordedHistory.h"

namespace kelvora::testing {
namespace {

using ::testing::Ge;
using ::testing::SizeIs;

constexpr double kMidnight = 1700438400;  // 2023-11-20, a Monday, UTC
constexpr double kHour = 3600;
constexpr double kDay = 24 * kHour;

// The readings. All are multiples of 1/8, so that no float and no text rounds them.

// From `low` up to `high` and back in each `period`, in steps of a quarter.
double wave(double seconds, double period, double low, double high) {
  const double place = std::fmod(seconds - kMidnight, period) / period;
  const double height = place < 0.5 ? 2 * place : 2 - 2 * place;
  return std::floor((low + (high - low) * height) * 4) / 4;
}

double cpu(double seconds) { return wave(seconds, 6 * kHour, 40, 98); }

// Never equal to the processor's. For an hour of the second day it cannot be read, which an SMC
// shows as 0.
double gpu(double seconds) {
  const double after = seconds - kMidnight;
  return after >= 30 * kHour && after < 31 * kHour ? 0 : wave(seconds, 10 * kHour, 35, 104) + 0.125;
}

double fanSpeed(double seconds) {
  constexpr double kSpeeds[] = {0, 1200, 3000, 4799, 4800, 5519, 5520, 6000};
  return kSpeeds[static_cast<int>((seconds - kMidnight) / kHour) % 8];
}

double coreVoltage(double seconds) {
  return static_cast<int>((seconds - kMidnight) / 900) % 2 == 0 ? 1.25 : 1.5;
}

const std::map<std::string, std::function<double(double)>> kReadings = {
    {"TC0P", cpu}, {"TG0P", gpu}, {"0", fanSpeed}, {"VC0C", coreVoltage}};

bool isRead(const std::string& key, double value) { return key == "0" || value != 0; }

// The statuses, by the table of codes: 1 to 3 temperatures, 4 to 7 fans, 8 "ok".
int statusOf(const std::string& key, double value) {
  if (key == "TC0P" || key == "TG0P") {
    return value >= 100 ? 3 : value >= (key == "TC0P" ? 66 : 90) ? 2 : 1;
  }
  if (key == "0") {  // its limits are 1200 and 6000
    return value == 0 ? 4 : value < 4800 ? 5 : value < 5520 ? 6 : 7;
  }
  return 8;
}

struct FiredAlert {
  double seconds;
  std::string rule;
  std::string sensor;
  double value;
  bool operator==(const FiredAlert&) const = default;
};
void PrintTo(const FiredAlert& alert, std::ostream* stream) {
  *stream << alert.rule << " by " << alert.sensor << " at " << alert.value << ", "
          << (alert.seconds - kMidnight) / kHour << " h";
}

/// What must be left of the samples so far.
struct Model {
  std::vector<double> samples;  // their times
  std::map<std::string, double> last, lowest, highest;
  std::vector<FiredAlert> alerts;
  std::vector<std::string> log;  // the lines of the day
  bool isGPUReported = false;
  std::optional<double> lastAlertOfAny;

  void add(double seconds) {
    logLine(seconds);
    samples.push_back(seconds);
    for (const auto& [key, curve] : kReadings) {
      const double value = curve(seconds);
      if (isRead(key, value)) {
        last[key] = value;
        lowest[key] = lowest.contains(key) ? std::min(lowest[key], value) : value;
        highest[key] = highest.contains(key) ? std::max(highest[key], value) : value;
      }
    }
    alert(seconds);
  }

  // The rules: TG0P from 80 once, and any sensor from 95 each five minutes.
  void alert(double seconds) {
    const double graphics = gpu(seconds);
    if (graphics >= 80 && !isGPUReported) {
      alerts.push_back({seconds, "TG0P", "TG0P", graphics});
      isGPUReported = true;
    } else if (graphics < 80 && isRead("TG0P", graphics)) {
      isGPUReported = false;
    }
    const double hottest = std::max(cpu(seconds), graphics);
    if (hottest >= 95 && (!lastAlertOfAny || seconds - *lastAlertOfAny >= 300)) {
      alerts.push_back({seconds, "any-sensor", hottest == graphics ? "TG0P" : "TC0P", hottest});
      lastAlertOfAny = seconds;
    }
  }

  void logLine(double seconds) {
    if (!samples.empty() && std::floor(samples.back() / kDay) != std::floor(seconds / kDay)) {
      log.clear();
    }
    const auto time = static_cast<std::time_t>(seconds);
    char text[100];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S+00:00", std::gmtime(&time));
    std::string line = text;
    for (const char* key : {"TC0P", "TG0P", "0", "VC0C"}) {
      const double value = kReadings.at(key)(seconds);
      std::snprintf(text, sizeof text, ",%.7g", value);
      line += isRead(key, value) ? text : ",";
    }
    log.push_back(line);
  }

  // The points of a series: the first sample in each step, of those that are younger than `kept`
  // in the first sample of the last five minutes.
  std::vector<Point> points(const std::string& key, double step, double kept) const {
    double trimmedAt = 0;
    for (std::size_t i = 1; i < samples.size(); ++i) {
      trimmedAt =
          std::floor(samples[i] / 300) == std::floor(samples[i - 1] / 300) ? trimmedAt : samples[i];
    }
    std::vector<Point> result;
    double before = -1;
    for (const double sample : samples) {
      const bool isFirst = std::floor(sample / step) != std::floor(before / step);
      before = sample;
      const double value = kReadings.at(key)(sample);
      if (isFirst && sample > trimmedAt - kept && isRead(key, value)) {
        result.emplace_back(sample, value);
      }
    }
    return result;
  }
};

std::vector<Point> pointsOf(const std::vector<KVGraphPointPtr>& points) {
  std::vector<Point> result;
  for (const KVGraphPointPtr& point : points) {
    result.emplace_back(point->pointX(), point->pointY());
  }
  return result;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t begin = 0;
  for (std::size_t end = 0; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1) {
    lines.push_back(text.substr(begin, end - begin));
  }
  lines.push_back(text.substr(begin));
  return lines;
}

class RecordedDays : public RecordedHistory {
 protected:
  RecordedDays() {
    useMac({{"TC0P", cpu},
            {"TG0P", gpu},
            {"F0Ac", fanSpeed},
            {"F0Mn", [](double) { return 1200.0; }},
            {"F0Mx", [](double) { return 6000.0; }},
            {"VC0C", coreVoltage}},
           {smcKey("FNum", "ui8 ", {1})});
    recording = std::make_unique<tool::Recording>(Platform::current(), *controller);
    KVDataManager& manager = recording->manager();
    manager.setFileLoggingEnabled(true);
    manager.setFileLoggingPath(temporary.path("log.csv"));
    manager.setFileLoggingSensorKeys({{"TC0P", "TG0P", "0", "VC0C"}});
    manager.setFileLoggingResetMode(2);  // a file of one day
    manager.setOverheatNotifications({activeRule("TG0P", 80), activeRule(kAnySensorKey, 95, 5)});
  }

  // Samples from `from` until before `until`, each compared with the model.
  void record(double from, double until, double step) {
    for (double at = from; at < until; at += step) {
      smc->seconds = at;
      const tool::Recording::Sample sample = recording->sample(instantOf(at));
      runDry(Platform::current().mainQueue());
      model.add(at);
      ASSERT_EQ(sample.outcome.fault, "") << at;
      ASSERT_EQ(sample.outcome.saved, 1U) << at;
      ASSERT_EQ(sample.logFault, std::nullopt) << at;
      for (const tool::FiredRule& fired : sample.fired) {
        alerts.push_back({at, *fired.rule.sensorKey, fired.sensorKey, fired.value});
      }
      compareStatuses(at);
    }
    compareAll();
  }

  void compareStatuses(double at) {
    for (const auto& [key, value] : model.last) {
      const KVSensorPtr sensor = recording->manager().coreDataStore().getSensorByKey(key);
      ASSERT_NE(sensor, nullptr) << key;
      ASSERT_EQ(sensor->value(), value) << key << " at " << at;
      ASSERT_EQ(sensor->statusEnum(), statusOf(key, value)) << key << " at " << at;
    }
  }

  // What another program finds now.
  void compareAll() {
    SCOPED_TRACE((model.samples.back() - kMidnight) / kHour);
    const auto store = otherProgram();
    for (const auto& [key, value] : model.last) {
      SCOPED_TRACE(key);
      const KVSensorPtr sensor = store->getSensorByKey(key);
      sensor->managedObjectContext()->setStalenessInterval(-1);
      EXPECT_EQ(pointsOf(sensor->hourGraphPoints()), model.points(key, 1, kHour));
      EXPECT_EQ(pointsOf(sensor->dayGraphPoints()), model.points(key, 60, kDay));
      EXPECT_EQ(pointsOf(sensor->weekGraphPoints()), model.points(key, 600, 7 * kDay));
      EXPECT_EQ(sensor->recordedMinValue(), model.lowest[key]);
      EXPECT_EQ(sensor->recordedMaxValue(), model.highest[key]);
      EXPECT_EQ(sensor->value(), value);
      EXPECT_EQ(sensor->statusEnum(), statusOf(key, value));
    }
    EXPECT_EQ(alerts, model.alerts);
    compareLog();
  }

  void compareLog() {
    const std::vector<std::string> lines = linesOf(temporary.read("log.csv"));
    ASSERT_EQ(lines.size(), model.log.size() + 2);
    EXPECT_EQ(lines.front(),
              "Time,CPU Proximity (TC0P) °C,GPU Proximity (TG0P) °C,Fan 1 (0) rpm,"
              "CPU Core 1 (VC0C) V");
    for (std::size_t i = 0; i < model.log.size(); ++i) {
      EXPECT_EQ(lines[i + 1], model.log[i]);
    }
    EXPECT_EQ(lines.back(), "");
  }

  std::unique_ptr<tool::Recording> recording;
  Model model;
  std::vector<FiredAlert> alerts;
};

TEST_F(RecordedDays, LeaveTheirHistoryExtremesStatusesAlertsAndLog) {
  record(kMidnight, kMidnight + kDay, 300);
  record(kMidnight + kDay, kMidnight + 31.5 * kHour, 40);
  // Asleep for eight hours; then samples long enough for the deletion of what has expired.
  record(kMidnight + 39.5 * kHour, kMidnight + 2 * kDay, 60);
  record(kMidnight + 2 * kDay, kMidnight + 2 * kDay + 1.5 * kHour, 20);
  EXPECT_EQ(recording->finish().waiting, 0U);
  // The model has met all that it is about.
  EXPECT_THAT(alerts, SizeIs(Ge(20U)));
  EXPECT_GT(std::ranges::count(alerts, std::string("TG0P"), &FiredAlert::rule), 3);
  EXPECT_EQ(model.lowest["0"], 0);
  EXPECT_EQ(model.highest["0"], 6000);
  EXPECT_GT(model.highest["TG0P"], 103);
  EXPECT_LT(model.points("TG0P", 600, 7 * kDay).size(), model.points("TC0P", 600, 7 * kDay).size());
}

TEST_F(RecordedHistory, WithoutASensorTheLogIsNotBegun) {
  double degrees = 0;
  useMac({{"TC0P", [&](double) { return degrees; }}});
  tool::Recording recording(Platform::current(), *controller);
  recording.manager().setFileLoggingEnabled(true);
  recording.manager().setFileLoggingPath(temporary.path("log.csv"));
  recording.manager().setFileLoggingSensorKeys({{"TC0P"}});
  recording.sample(instantOf(kMidnight));
  EXPECT_FALSE(recording.isBegun());
  EXPECT_EQ(temporary.read("log.csv"), "");
  degrees = 41;
  recording.sample(instantOf(kMidnight + 2));
  degrees = 0;
  recording.sample(instantOf(kMidnight + 4));
  EXPECT_TRUE(recording.isBegun());
  EXPECT_EQ(temporary.read("log.csv"),
            "Time,CPU Proximity (TC0P) °C\n2023-11-20T00:00:02+00:00,41\n"
            "2023-11-20T00:00:04+00:00,\n");
}

}  // namespace
}  // namespace kelvora::testing
