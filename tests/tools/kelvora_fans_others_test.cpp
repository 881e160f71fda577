// Fans that another program holds.
#include <chrono>
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
    machine_ = Platform::chosen();
    machine_->ports().childProcesses = std::make_unique<platform::PosixChildProcesses>();
    controller_ = std::make_unique<SensorController>(*machine_);
    KVFanLeaseOptions options;
    options.timeout = std::chrono::minutes(10);
    options.program = "Test Host";
    options.guardian = KELVORA_TEST_GUARDIAN;
    lease_ = std::make_unique<KVFanLease>(*controller_, options);
    ASSERT_TRUE(lease_->take({{fan, speed}})) << lease_->fault();
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

}  // namespace
}  // namespace kelvora::testing
