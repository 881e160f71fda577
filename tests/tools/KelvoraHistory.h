#pragma once

#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/tools/HistoryFixture.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {

enum Series : std::int16_t { kHour, kDay, kWeek };
enum Type : std::int16_t { kTemperature, kFan, kVoltage };

inline std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

/// `kelvora history` of a store that another program has written.
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
  nlohmann::json report(std::vector<std::string> arguments) const {
    arguments.emplace_back("--json");
    return nlohmann::json::parse(text(arguments));
  }
  void set(const std::string& setting, const std::string& value) const {
    ASSERT_EQ(runKelvora({"settings", "set", setting, value}).status, 0);
  }
  void expectRefusal(const std::vector<std::string>& arguments, int status,
                     const std::string& line) const {
    const ProgramResult result = history(arguments);
    EXPECT_EQ(result.status, status);
    EXPECT_EQ(result.standardOutput, "");
    EXPECT_THAT(result.standardError,
                ::testing::AllOf(::testing::StartsWith("kelvora: "), ::testing::HasSubstr(line)));
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

}  // namespace kelvora::testing
