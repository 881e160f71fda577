// The recording of history by real programs.

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include <SQLiteCpp/Database.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "KelvoraCore/KVDataManager.h"

#include "ports/Ports.h"
#include "tests/support/ChildProgram.h"
#include "tests/support/OverheatRuleList.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using nlohmann::json;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class RecordHistory : public ::testing::Test {
 protected:
  RecordHistory() {
    setenv("XDG_DATA_HOME", folder_.path("data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", folder_.path("config").c_str(), 1);
    unsetenv("KELVORA_MACHINE");
  }
  static std::vector<std::string> words(std::vector<std::string> more) {
    more.insert(more.begin(), {"record-history", "--machine", "Macmini8,1"});
    return more;
  }
  static ProgramResult record(const std::vector<std::string>& more) {
    return runKelvora(words(more));
  }
  static ChildProgram start(const std::vector<std::string>& more) {
    return ChildProgram(KELVORA_PROGRAM, words(more));
  }
  std::string storePath() const { return folder_.path("data/group.com.kelvora/Database.sqlite"); }
  int stored(const std::string& sql) const {
    return SQLite::Database(storePath()).execAndGet(sql).getInt();
  }
  int samples() const {
    return stored("SELECT count(DISTINCT pointX) FROM GraphPoint WHERE timeRange = 0");
  }

  // As the program counts what it recorded.
  std::string countedSamples() const {
    const int count = samples();
    return std::to_string(count) + (count == 1 ? " sample" : " samples");
  }

  const TemporaryFolder folder_;
};

json eventOf(const std::string& line) { return json::parse(line); }

TEST_F(RecordHistory, EndsAfterItsTimeAndSaysHowMuchItRecorded) {
  const ProgramResult result = record({"--for", "2", "--every", "1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.standardError, "kelvora: recording; an interrupt (Ctrl-C) ends it\n");
  EXPECT_THAT(firstLine(result.standardOutput), EndsWith(" sensors, 1 sample"));
  EXPECT_GE(samples(), 1);  // a busy computer may miss the second one
  EXPECT_THAT(result.standardOutput, EndsWith("  recorded " + countedSamples() + "\n"));
}

TEST_F(RecordHistory, InJSONIsAnObjectForEachSampleAndTheEnd) {
  std::istringstream lines(record({"--for", "2", "--every", "1", "--json"}).standardOutput);
  std::vector<json> events;
  for (std::string line; std::getline(lines, line);) {
    events.push_back(eventOf(line));
  }
  ASSERT_GE(events.size(), 2U);
  EXPECT_EQ(events[0]["event"], "sample");
  EXPECT_EQ(events[0]["sensors"], stored("SELECT count(*) FROM Sensor"));
  EXPECT_EQ(events[0]["saved"], 1);
  EXPECT_EQ(events[0]["waiting"], 0);
  EXPECT_THAT(events[0]["time"].get<std::string>(), MatchesRegex(".*T.*:.*:.*[+-]..:.."));
  EXPECT_EQ(events.back()["event"], "end");
  EXPECT_EQ(events.back()["samples"], samples());
  EXPECT_EQ(events.size(), static_cast<std::size_t>(samples()) + 1);
  EXPECT_EQ(events.back()["notSaved"], 0);
}

TEST_F(RecordHistory, OnATerminalOneLineIsRewritten) {
  const ProgramResult result =
      runInTerminal(KELVORA_PROGRAM, words({"--for", "2", "--every", "1"}), 48);
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.standardOutput, HasSubstr("\x1b[K"));
  EXPECT_THAT(result.standardOutput, HasSubstr("sensors, 1 sample\x1b[K"));
  EXPECT_THAT(result.standardOutput, HasSubstr("sensors, 2 sampl\xE2\x80\xA6\x1b[K"));
  EXPECT_EQ(lineCount(result.standardOutput), 1) << result.standardOutput;
}

TEST_F(RecordHistory, AnInterruptEndsItWithEverythingSaved) {
  for (const int signal : {SIGINT, SIGTERM}) {
    ChildProgram program = start({"--every", "1", "--json"});
    EXPECT_EQ(eventOf(program.nextLine())["event"], "sample");
    program.signal(signal);
    const std::string rest = program.restOfOutput();
    EXPECT_THAT(rest, HasSubstr(R"("event":"end")"));
    EXPECT_EQ(program.wait(), 0);
  }
  EXPECT_GE(samples(), 2);
  EXPECT_EQ(SQLite::Database(storePath()).execAndGet("PRAGMA integrity_check").getString(), "ok");
}

TEST_F(RecordHistory, ASecondOneEndsAtOnceAndRecordsNothing) {
  ChildProgram first = start({"--every", "1", "--json"});
  EXPECT_EQ(eventOf(first.nextLine())["event"], "sample");
  const ProgramResult second = record({"--for", "10", "--every", "1"});
  EXPECT_EQ(second.status, 3);
  EXPECT_EQ(second.standardOutput, "");
  EXPECT_EQ(second.standardError, "kelvora: another program records the history already\n");
  first.signal(SIGKILL);
  first.wait();
  EXPECT_EQ(record({"--for", "1", "--every", "1"}).status, 0);
}

TEST_F(RecordHistory, FollowsTheSettingForTheInterval) {
  runKelvora({"settings", "set", "updateFrequency", "2"});
  const ProgramResult result = record({"--for", "1.5"});
  EXPECT_THAT(result.standardOutput, EndsWith("  recorded 1 sample\n"));
}

TEST_F(RecordHistory, WritesTheLog) {
  runKelvora({"settings", "set", "fileLoggingEnabled", "true"});
  runKelvora({"settings", "set", "fileLoggingPath", folder_.path("log.csv")});
  runKelvora({"settings", "set", "fileLoggingSensorKeys", R"(["TC0P"])"});
  record({"--for", "2", "--every", "1"});
  const std::string log = folder_.read("log.csv");
  EXPECT_THAT(log, StartsWith("Time,CPU Proximity (TC0P) \xC2\xB0"
                              "C\n"));
  EXPECT_EQ(lineCount(log), 1 + samples());
}

TEST_F(RecordHistory, ALogThatCannotBeWrittenIsReportedOnce) {
  runKelvora({"settings", "set", "fileLoggingEnabled", "true"});
  runKelvora({"settings", "set", "fileLoggingPath", folder_.write("file", "") + "/log.csv"});
  runKelvora({"settings", "set", "fileLoggingSensorKeys", R"(["TC0P"])"});
  const ProgramResult result = record({"--for", "2", "--every", "1"});
  EXPECT_EQ(result.status, 0);
  const std::size_t first = result.standardOutput.find("not logged: ");
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(result.standardOutput.find("not logged: ", first + 1), std::string::npos);
  EXPECT_THAT(result.standardOutput, EndsWith("  recorded " + countedSamples() + "\n"));
}

TEST_F(RecordHistory, JSONIsUTF8InEveryLocale) {
  const std::string path = folder_.write("Lüfter", "") + "/log.csv";
  runKelvora({"settings", "set", "fileLoggingEnabled", "true"});
  runKelvora({"settings", "set", "fileLoggingPath", path});
  runKelvora({"settings", "set", "fileLoggingSensorKeys", R"(["TC0P"])"});
  ChildProgram program(KELVORA_PROGRAM, words({"--every", "1", "--json"}), {{"LC_ALL", "C"}});
  EXPECT_THAT(eventOf(program.nextLine())["reason"].get<std::string>(), HasSubstr(path));
}

TEST_F(RecordHistory, AnotherProgramThatClearsTheStoreIsReported) {
  ChildProgram program = start({"--every", "1", "--json"});
  EXPECT_EQ(eventOf(program.nextLine())["event"], "sample");
  for (const char* ending : {"", "-wal", "-shm"}) {
    std::filesystem::remove(storePath() + ending);
  }
  json event;
  do {
    event = eventOf(program.nextLine());
  } while (event["event"] == "sample");
  EXPECT_EQ(event["event"], "newStore");
  EXPECT_EQ(eventOf(program.nextLine())["saved"], 1);
  program.signal(SIGTERM);
  EXPECT_EQ(program.wait(), 0);
  EXPECT_GE(samples(), 1);
}

TEST_F(RecordHistory, AStoreThatCannotBeUsedIsReportedOnceAndEndsInStatusOne) {
  folder_.write("data/group.com.kelvora/Database.sqlite", "no database at all, but long enough");
  const ProgramResult result = record({"--for", "2", "--every", "1"});
  EXPECT_EQ(result.status, 1);
  const std::size_t first = result.standardOutput.find("not saved: ");
  ASSERT_NE(first, std::string::npos);
  EXPECT_EQ(result.standardOutput.find("not saved: ", first + 1), std::string::npos);
  EXPECT_THAT(result.standardOutput, EndsWith("  recorded 0 samples, 2 could not be saved\n"));
  EXPECT_THAT(result.standardError, HasSubstr("kelvora: not everything was saved: the store "));
}

TEST_F(RecordHistory, RulesFireAndTheLogIsWrittenWhileTheStoreCannotBeUsed) {
  folder_.write("data/group.com.kelvora/Database.sqlite", "no database at all, but long enough");
  runKelvora({"settings", "set", "fileLoggingEnabled", "true"});
  runKelvora({"settings", "set", "fileLoggingPath", folder_.path("log.csv")});
  runKelvora({"settings", "set", "fileLoggingSensorKeys", R"(["TC0P"])"});
  const auto platform = Platform::live();
  KVDataManager(*platform).setOverheatNotifications(
      {activeRule("TC0P", 1), activeRule(kAnySensorKey, 1)});
  const std::string output = record({"--for", "1", "--every", "1"}).standardOutput;
  EXPECT_THAT(output, HasSubstr("  rule fired: CPU Proximity"));
  const std::size_t first = output.find("rule fired: ");
  EXPECT_NE(output.find("rule fired: ", first + 1), std::string::npos);
  EXPECT_EQ(lineCount(folder_.read("log.csv")), 2);
}

TEST_F(RecordHistory, AFiredRuleIsReportedOnceAndItsTimeIsStored) {
  runKelvora({"settings", "set", "tempUnitCelsius", "false"});
  const auto platform = Platform::live();
  KVDataManager manager(*platform);
  const KVNotification rule = activeRule(kAnySensorKey, 70, 5);  // degrees Fahrenheit
  manager.setOverheatNotifications({rule});
  const ProgramResult result = record({"--for", "2", "--every", "1"});
  const std::size_t first = result.standardOutput.find("  rule fired: ");
  ASSERT_NE(first, std::string::npos) << result.standardOutput;
  EXPECT_EQ(result.standardOutput.find("rule fired", first + 10), std::string::npos);
  EXPECT_THAT(result.standardOutput, HasSubstr(", the limit is 70\n"));
  EXPECT_TRUE(manager.overheatNotifications()->front().lastTimeFired.has_value());
  manager.setOverheatNotifications({rule});
  const std::string lines = record({"--for", "1", "--every", "1", "--json"}).standardOutput;
  const std::size_t begin = lines.find("\n") + 1;
  const json event = eventOf(lines.substr(begin, lines.find('\n', begin) - begin));
  EXPECT_EQ(event["event"], "rule");
  EXPECT_EQ(event["rule"], "any-sensor");
  EXPECT_EQ(event["threshold"], 70);
  EXPECT_GT(event["value"], 70);
  EXPECT_NE(event["sensorKey"], "any-sensor");
}

TEST_F(RecordHistory, RefusesTimesOutOfRange) {
  for (const char* every : {"0", "0.5", "3601", "-1", "nan"}) {
    EXPECT_EQ(record({"--every", every}).status, 2) << every;
  }
  for (const char* duration : {"0", "-5", "nan", "soon"}) {
    EXPECT_EQ(record({"--for", duration}).status, 2) << duration;
  }
  EXPECT_FALSE(std::filesystem::exists(storePath()));
}

TEST_F(RecordHistory, RecordsNoMachineThatWasNotAskedFor) {
  const ProgramResult result = runKelvora({"record-history", "--for", "1"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.standardError,
            "kelvora: no Apple hardware here; --machine names a recorded Mac to record\n");
  EXPECT_FALSE(std::filesystem::exists(storePath()));
}

}  // namespace
}  // namespace kelvora::testing
