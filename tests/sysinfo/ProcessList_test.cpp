#include "sysinfo/ProcessList.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

using Processes = std::vector<CPUTopProcess>;

constexpr const char* kHeader = "  PID  %CPU COMM\n";

CPUTopProcess process(std::int64_t pid, double usage, const std::string& command) {
  return {.pid = pid, .command = command, .name = {}, .usage = usage};
}

// The only process of a list with one line.
CPUTopProcess processOf(const std::string& line) {
  const Processes processes = parseProcessList(kHeader + line + "\n", 5);
  EXPECT_EQ(processes.size(), 1U) << line;
  return processes.empty() ? CPUTopProcess() : processes.front();
}

std::string tenProcesses() {
  std::string text = kHeader;
  for (int index = 0; index < 10; ++index) {
    text += "  20" + std::to_string(index) + "  " + std::to_string(90 - index) + ".5 tool\n";
  }
  return text;
}

TEST(ProcessList, ALineIsPidShareAndCommand) {
  EXPECT_EQ(processOf("  412  38.4 Safari"), process(412, 38.4, "Safari"));
  EXPECT_EQ(processOf("99999 250.0 mds_stores"), process(99999, 250, "mds_stores"));
}

TEST(ProcessList, AShareMayHaveADecimalComma) {
  EXPECT_EQ(processOf("  123  12,5 Safari"), process(123, 12.5, "Safari"));
}

TEST(ProcessList, AShareOfZeroIsZero) {
  EXPECT_EQ(processOf("  333   0.0 idle"), process(333, 0, "idle"));
}

TEST(ProcessList, ACommandMayHaveBlanksOfWhichRunsAreOne) {
  EXPECT_EQ(processOf("  901   3.0 Google Chrome Helper (GPU)  "),
            process(901, 3, "Google Chrome Helper (GPU)"));
  EXPECT_EQ(processOf("  901   3.0 Two  Blanks"), process(901, 3, "Two Blanks"));
}

TEST(ProcessList, ACommandMayBeginWithDigits) {
  EXPECT_EQ(processOf("  412   3.0 7zip"), process(412, 3, "7zip"));
  EXPECT_EQ(processOf("  412   3.0 1.5 times"), process(412, 3, "1.5 times"));
}

TEST(ProcessList, PidAndShareAreRemovedFromTheWholeLine) {
  EXPECT_EQ(processOf("  7  17.2 x7"), process(7, 1.2, "x"));
  EXPECT_EQ(processOf("  412   3.0 v3.0"), process(412, 3, "v"));
}

TEST(ProcessList, ALineWithoutAPidHasZero) {
  EXPECT_EQ(processOf("Safari"), process(0, 0, "Safari"));
  EXPECT_EQ(processOf("-5 1.0 x"), process(0, 0, "-5 1.0 x"));
  EXPECT_EQ(processOf(""), process(0, 0, ""));
}

TEST(ProcessList, ALineWithoutAShareHasZero) {
  EXPECT_EQ(processOf("  412 Safari"), process(412, 0, "Safari"));
  EXPECT_EQ(processOf("  412 38.4"), process(412, 0, "38.4"));
  EXPECT_EQ(processOf("  412 ., dots"), process(412, 0, "dots"));
  EXPECT_EQ(processOf("  412"), process(412, 0, ""));
}

TEST(ProcessList, APidThatIsTooLargeIsTheLargest) {
  EXPECT_EQ(processOf("99999999999999999999 1.0 x").pid, std::numeric_limits<std::int64_t>::max());
}

TEST(ProcessList, ACommandMayBeOfAnyScript) {
  EXPECT_EQ(processOf("  412   3.0 \u7a0b\u5e8f \U0001f600"),
            process(412, 3, "\u7a0b\u5e8f \U0001f600"));
}

TEST(ProcessList, HasTheFirstProcessesInTheirOrder) {
  const Processes three = parseProcessList(tenProcesses(), 3);
  EXPECT_EQ(three, (Processes{process(200, 90.5, "tool"), process(201, 89.5, "tool"),
                              process(202, 88.5, "tool")}));
  EXPECT_EQ(parseProcessList(tenProcesses(), 1).size(), 1U);
  EXPECT_EQ(parseProcessList(tenProcesses(), 10).size(), 10U);
}

TEST(ProcessList, IsEmptyWhenNoneAreAskedFor) {
  EXPECT_EQ(parseProcessList(tenProcesses(), 0), Processes());
}

TEST(ProcessList, HasAllWhenMoreAreAskedForOrANegativeNumber) {
  EXPECT_EQ(parseProcessList(tenProcesses(), 11).size(), 10U);
  EXPECT_EQ(parseProcessList(tenProcesses(), std::numeric_limits<std::int64_t>::max()).size(), 10U);
  EXPECT_EQ(parseProcessList(tenProcesses(), -1).size(), 10U);
  EXPECT_EQ(parseProcessList(tenProcesses(), std::numeric_limits<std::int64_t>::min()).size(), 10U);
}

TEST(ProcessList, ALastLineMayEndWithoutALineFeed) {
  EXPECT_EQ(parseProcessList(std::string(kHeader) + "  412  38.4 Safari", 5),
            Processes{process(412, 38.4, "Safari")});
}

TEST(ProcessList, AHeaderAloneIsAnEmptyList) {
  EXPECT_EQ(parseProcessList(kHeader, 5), Processes());
  EXPECT_EQ(parseProcessList("  PID  %CPU COMM", 5), Processes());
  EXPECT_EQ(parseProcessList("\n", 5), Processes());
  EXPECT_EQ(parseProcessList("", 5), Processes());
}

TEST(ProcessList, AnEmptyLineBetweenTwoIsAProcessWithoutAnything) {
  const Processes processes = parseProcessList(std::string(kHeader) + "\n  412  38.4 Safari\n", 5);
  EXPECT_EQ(processes, (Processes{CPUTopProcess(), process(412, 38.4, "Safari")}));
}

}  // namespace
}  // namespace kelvora
