// Fans that another program holds.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/SensorController.h"

#include "platforms/posix/PosixChildProcesses.h"
#include "ports/Ports.h"
#include "tests/tools/KelvoraFans.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using ::testing::HasSubstr;

class KelvoraFansOfAnotherProgram : public KelvoraFans {
 protected:
  void hold(std::uint64_t fan, std::uint64_t speed) {
    ASSERT_TRUE(take(fan, speed)) << lease_->fault();
  }
  bool take(std::uint64_t fan, std::uint64_t speed,
            const std::string& guardian = KELVORA_TEST_GUARDIAN) {
    release();
    machine_ = Platform::chosen();
    machine_->ports().childProcesses = std::make_unique<platform::PosixChildProcesses>();
    controller_ = std::make_unique<SensorController>(*machine_);
    KVFanLeaseOptions options;
    options.timeout = std::chrono::minutes(10);
    options.program = "Test Host";
    options.guardian = guardian;
    lease_ = std::make_unique<KVFanLease>(*controller_, options);
    return lease_->take({{fan, speed}});
  }
  void release() {
    lease_.reset();
    controller_.reset();
  }
  ~KelvoraFansOfAnotherProgram() override { lease_.reset(); }
  static std::string holder() {
    return "held by Test Host (process " + std::to_string(getpid()) + ")";
  }

 private:
  std::unique_ptr<Platform> machine_;
  std::unique_ptr<SensorController> controller_;
  std::unique_ptr<KVFanLease> lease_;
};

TEST_F(KelvoraFansOfAnotherProgram, AreListedWithItAndNotSet) {
  hold(0, 3000);
  EXPECT_THAT(run({"fans"}).standardOutput, HasSubstr(holder() + " since "));
  expectRefused({"fans", "set", "0", "3100"}, 3, "fan 0: " + holder());
  expectRefused({"fans", "hold", "0=3100"}, 3, "fan 0: " + holder());
  EXPECT_EQ(fan(0).at("target"), 3000.0);
  EXPECT_EQ(run({"fans", "set", "1", "2500"}).status, 0) << "the other fan is free";
}

TEST_F(KelvoraFansOfAnotherProgram, AreHandedBackAllTheSame) {
  hold(0, 3000);
  const ProgramResult back = run({"fans", "auto", "0"});
  EXPECT_EQ(back.status, 0);
  EXPECT_EQ(back.standardError, "kelvora: fan 0: " + holder() + ", which may set it again\n");
  EXPECT_EQ(fan(0).at("mode"), "automatic");
}

TEST_F(KelvoraFansOfAnotherProgram, GetTheirMinimumBack) {
  choose(kWithMinimum);
  hold(1, 3000);
  EXPECT_EQ(fan(1).at("raisedTo"), 3000.0);
  const ProgramResult back = run({"fans", "auto", "1"});
  EXPECT_EQ(back.status, 0);
  EXPECT_EQ(back.standardError, "kelvora: fan 1: " + holder() + ", which may set it again\n");
  EXPECT_EQ(fan(1).at("raisedTo"), 2000.0);
}

// A guardian that is still about to restore the minimum when the next holder takes the fan, and has
// restored it when that one's guardian starts.
TEST_F(KelvoraFansOfAnotherProgram, TakenFromAKilledHolderGetTheMinimumFromBeforeIt) {
  choose(kWithMinimum);
  const nlohmann::json before = fan(0).at("minimum");
  ASSERT_EQ(run({"fans", "set", "0", "4000"}).status, 0);
  const pid_t killed = holderOf(0);
  std::filesystem::rename(home_.path(kTool), home_.path("tool"));
  home_.write(kTool, "#!/bin/sh\nwhile test -e '" + home_.path("slow") +
                         "'; do sleep 0.01; done\nexec '" + home_.path("tool") + "' \"$@\"\n");
  std::filesystem::permissions(home_.path(kTool), std::filesystem::perms(0755));
  home_.write("slow", "");
  const std::string guardian =
      home_.write("guardian", "#!/bin/sh\nrm -f '" + home_.path("slow") + "'\nwhile test -e '" +
                                  home_.path("data/group.com.kelvora/Fan0.plist") +
                                  "'; do sleep 0.01; done\nexec '" KELVORA_TEST_GUARDIAN "'\n");
  std::filesystem::permissions(guardian, std::filesystem::perms(0755));
  ::kill(killed, SIGKILL);
  ASSERT_TRUE(soon([&] { return !isRunning(killed); }));
  EXPECT_FALSE(take(0, 4500, guardian)) << "its guardian has the fan";
  release();
  std::filesystem::remove(home_.path("slow"));
  ASSERT_TRUE(soon([this] { return !isOnDisk(0); }));
  ASSERT_TRUE(take(0, 4500));
  release();
  EXPECT_EQ(fan(0).at("minimum"), before);
  EXPECT_FALSE(isOnDisk(0));
}

}  // namespace
}  // namespace kelvora::testing
