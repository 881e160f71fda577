#include "KelvoraCore/ZDSystemKitHelper.h"

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/RecordedMachines.h"
#include "tests/support/ScriptedChildProcesses.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;

ScriptedChildProcesses printing(const std::string& output) {
  return ScriptedChildProcesses([output](const platform::ChildRequest&) {
    return ScriptedOutcome{output, 0, 4096};
  });
}

TEST(ProcessWithPath, AnswersTheStandardOutputAndClosesIt) {
  ScriptedChildProcesses children = printing("{\"SPHardwareDataType\": []}\n");
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/usr/sbin/system_profiler",
                                               {"SPHardwareDataType", "-json"}, children),
            "{\"SPHardwareDataType\": []}\n");
  EXPECT_EQ(children.closedOutputs, 1);
  ASSERT_EQ(children.requests.size(), 1U);
  const platform::ChildRequest& request = children.requests[0];
  EXPECT_EQ(request.path, "/usr/sbin/system_profiler");
  EXPECT_THAT(request.arguments, ElementsAre("SPHardwareDataType", "-json"));
  EXPECT_TRUE(request.captureStandardOutput);
  EXPECT_FALSE(request.discardStandardError);
  EXPECT_EQ(request.qualityOfService, 0);
}

TEST(ProcessWithPath, ReturnsNoneForACommandThatPrintsNothing) {
  ScriptedChildProcesses children = printing("");
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/true", {}, children), std::nullopt);
}

TEST(ProcessWithPath, ReturnsNoneForOutputThatIsNotUTF8) {
  for (const char* output : {"caf\xe9", "\xc0\xaf", "ok \xed\xa0\x80", "cut \xe2\x82", "\xff"}) {
    ScriptedChildProcesses children = printing(output);
    EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/x", {}, children), std::nullopt) << output;
  }
  ScriptedChildProcesses children = printing("caf\u00e9 \U0001f600");
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/x", {}, children), "caf\u00e9 \U0001f600");
}

TEST(ProcessWithPath, DoesNotMindTheExitStatus) {
  ScriptedChildProcesses children([](const platform::ChildRequest&) {
    return ScriptedOutcome{"partial", 3};
  });
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/x", {}, children), "partial");
}

TEST(ProcessWithPath, TakesTenMegabytes) {
  const std::string report(10 << 20, 'x');
  ScriptedChildProcesses children = printing(report);
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/x", {}, children), report);
}

TEST(ProcessWithPath, LogsALaunchThatFailedWithItsFixedText) {
  ScriptedChildProcesses children([](const platform::ChildRequest&) { return std::nullopt; });
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/ps", {}, children), std::nullopt);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "system_profiler SPMemoryDataType: No such file or directory\n");
}

TEST(ProcessWithPath, RunsTheChildrenOfTheCurrentPlatformByDefault) {
  auto platform = recordedPlatform({});
  platform->ports().childProcesses =
      std::make_unique<ScriptedChildProcesses>([](const platform::ChildRequest& request) {
        return ScriptedOutcome{request.path + request.arguments.at(0)};
      });
  Platform::install(std::move(platform));
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/x", {" -a"}), "/bin/x -a");
}

TEST(ProcessWithPath, ReadsARealChild) {
  const auto live = Platform::live();
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/echo", {"a", "b c"}, live->childProcesses()),
            "a b c\n");
  EXPECT_EQ(ZDSystemKitHelper::processWithPath("/bin/true", {}, live->childProcesses()),
            std::nullopt);
}

TEST(ProcessWithPath, ReturnsWhenTheCommandClosesItsOutputThoughItRunsOn) {
  const auto live = Platform::live();
  const auto pid = ZDSystemKitHelper::processWithPath(
      "/bin/sh", {"-c", "echo $$; exec 1>&- 2>&-; exec sleep 1000"}, live->childProcesses());
  ASSERT_TRUE(pid);
  EXPECT_EQ(kill(std::stoi(*pid), SIGKILL), 0) << "runs on";
}

}  // namespace
}  // namespace kelvora::testing
