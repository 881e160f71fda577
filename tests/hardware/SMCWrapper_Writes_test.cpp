#include <string>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/SMCWrapper.h"

#include "tests/hardware/Messages.h"
#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/ScriptedChildProcesses.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A platform with an installed tool that ends with a scripted outcome.
class SMCWrapperWrites : public ::testing::Test {
 protected:
  explicit SMCWrapperWrites(platform::RecordedMachine machine = {})
      : platform_(installRecordedPlatform(std::move(machine))) {
    auto& files = wrapPort<ForwardingFiles>(platform_.ports().files);
    files.onApplicationSupportFolder = [] { return "/Users/anna/Library/Application Support"; };
    files.onExists = [this](const std::string& path) {
      return path != "/Users/anna/Library/Application Support/Kelvora/Kelvora SMC" || isInstalled_;
    };
    auto children = std::make_unique<ScriptedChildProcesses>(
        [this](const platform::ChildRequest&) { return outcome_; });
    children_ = children.get();
    platform_.ports().childProcesses = std::move(children);
    ::testing::internal::CaptureStdout();  // there may be no SMC
    wrapper_ = std::make_unique<SMCWrapper>(platform_);
    std::fflush(stdout);
    ::testing::internal::GetCapturedStdout();
  }

  Platform& platform_;
  bool isInstalled_ = true;
  std::optional<ScriptedOutcome> outcome_ = ScriptedOutcome{};
  ScriptedChildProcesses* children_ = nullptr;
  std::unique_ptr<SMCWrapper> wrapper_;
};

TEST_F(SMCWrapperWrites, RunTheToolWithFourArgumentsAndWaitForIt) {
  EXPECT_TRUE(wrapper_->setExternalValue("0fa0", "F0Tg"));
  ASSERT_EQ(children_->requests.size(), 1U);
  const platform::ChildRequest& request = children_->requests[0];
  EXPECT_EQ(request.path, "/Users/anna/Library/Application Support/Kelvora/Kelvora SMC");
  EXPECT_THAT(request.arguments, ElementsAre("-k", "F0Tg", "-w", "0fa0"));
  EXPECT_EQ(request.qualityOfService, 33);
  EXPECT_TRUE(request.isOwnProgram);
  EXPECT_FALSE(request.captureStandardOutput);
  EXPECT_FALSE(request.discardStandardError);
  EXPECT_EQ(children_->waits, 1);
}

TEST_F(SMCWrapperWrites, SucceedOnlyWithExitStatusZero) {
  for (const int status : {1, 2, 128 + 9, 255}) {
    outcome_->exitStatus = status;
    EXPECT_FALSE(wrapper_->setExternalValue("0fa0", "F0Tg")) << status;
  }
}

// Of a process that ignores SIGCHLD.
class SMCWrapperWritesOfUnknownStatus : public SMCWrapperWrites {
 protected:
  SMCWrapperWritesOfUnknownStatus()
      : SMCWrapperWrites(machineWithKeys({smcKey("F0Tg", "flt ", {0, 0, 0xfa, 0x44})})) {
    outcome_->exitStatus = platform::kUnknownExitStatus;
  }
};

TEST_F(SMCWrapperWritesOfUnknownStatus, SucceedIfTheKeyHoldsTheValue) {
  EXPECT_TRUE(wrapper_->setExternalValue("0000fa44", "F0Tg"));
  EXPECT_TRUE(wrapper_->setExternalValue("0000FA44", "F0Tg"));
  EXPECT_FALSE(wrapper_->setExternalValue("0000fa45", "F0Tg"));
  EXPECT_FALSE(wrapper_->setExternalValue("0000fa", "F0Tg"));
  EXPECT_FALSE(wrapper_->setExternalValue("0000fa44", "F1Tg"));
  EXPECT_FALSE(wrapper_->setExternalValue("", "F1Tg"));
}

TEST_F(SMCWrapperWrites, FailWithoutALaunchWhenTheToolIsMissing) {
  isInstalled_ = false;
  EXPECT_FALSE(wrapper_->setExternalValue("0fa0", "F0Tg"));
  EXPECT_THAT(children_->requests, IsEmpty());
}

TEST_F(SMCWrapperWrites, FailWhenTheToolCannotBeLaunched) {
  outcome_.reset();
  const auto messages = std::make_shared<Messages>();
  wrapper_->setDelegate(messages);
  EXPECT_FALSE(wrapper_->setExternalValue("0fa0", "F0Tg"));
  EXPECT_THAT(messages->all, IsEmpty());
}

}  // namespace
}  // namespace kelvora::testing
