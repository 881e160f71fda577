#include "platforms/linux/processes/LinuxChildProcesses.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <unistd.h>

#include "product/ChildOutput.h"

namespace kelvora::testing {
namespace {

using platform::ChildRequest;
using platform::LinuxChildProcesses;

struct Line {
  long pid = 0;
  double usage = -1;
  std::string command;
};

std::string outputOf(const std::string& path, const std::vector<std::string>& arguments) {
  const auto launch = LinuxChildProcesses().launch({path, arguments, true, true, 0});
  EXPECT_NE(launch.child, nullptr) << launch.failure;
  std::string output = launch.child ? readToEnd(*launch.child) : "";
  EXPECT_EQ(launch.child ? launch.child->waitUntilExit() : -1, 0);
  return output;
}

std::string processList() { return outputOf("/bin/ps", {"-Aceo pid,pcpu,comm", "-r"}); }

std::vector<Line> processLines() {
  std::istringstream text(processList());
  std::string header;
  std::getline(text, header);
  std::vector<Line> lines;
  Line line;
  while (text >> line.pid >> line.usage >> std::ws && std::getline(text, line.command)) {
    lines.push_back(line);
  }
  return lines;
}

TEST(LinuxChildProcesses, TheProcessListHasAHeaderAndThreeColumns) {
  std::istringstream text(processList());
  std::string pid, usage, command;
  text >> pid >> usage >> command;
  EXPECT_EQ(pid, "PID");
  EXPECT_EQ(usage, "%CPU");
  EXPECT_EQ(command.substr(0, 4), "COMM");
}

TEST(LinuxChildProcesses, TheProcessListHasTheBusiestFirst) {
  const std::vector<Line> lines = processLines();
  EXPECT_GT(lines.size(), 1U);
  EXPECT_TRUE(std::ranges::is_sorted(lines, std::greater(), &Line::usage));
}

TEST(LinuxChildProcesses, TheProcessListHasThisProcessWithItsWholeName) {
  // Neither a terminal's width nor a blank cuts the name, which the kernel cuts after 15 bytes.
  setenv("COLUMNS", "12", 1);
  prctl(PR_SET_NAME, "a name, blanks.");
  const std::vector<Line> lines = processLines();
  const auto self = std::ranges::find(lines, getpid(), &Line::pid);
  ASSERT_NE(self, lines.end());
  EXPECT_EQ(self->command, "a name, blanks.");
  EXPECT_GE(self->usage, 0);
}

TEST(LinuxChildProcesses, AnyOtherRequestIsStartedAsItIs) {
  EXPECT_EQ(outputOf("/bin/echo", {"-Aceo pid,pcpu,comm", "-r"}), "-Aceo pid,pcpu,comm -r\n");
  EXPECT_EQ(outputOf("/bin/ps", {"-o", "comm=", "-p", std::to_string(getpid())}),
            "platforms_tests\n");
}

}  // namespace
}  // namespace kelvora::testing
