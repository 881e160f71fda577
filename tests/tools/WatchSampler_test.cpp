#include "tools/kelvora/WatchSampler.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/SMC.h"
#include "KelvoraCore/SensorController.h"

#include "ports/Ports.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/HangingChildProcesses.h"
#include "tests/support/MainQueueLoop.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/ScriptedChildProcesses.h"

namespace kelvora::tool {
namespace {

using kelvora::testing::ScriptedChildProcesses;
using kelvora::testing::ScriptedOutcome;
using Clock = std::chrono::steady_clock;

constexpr char kList[] = "  PID  %CPU COMM\n  412  38.4 Safari\n  167  12.5 WindowServer\n";

class WatchSamplerTest : public ::testing::Test {
 protected:
  WatchSamplerTest() : platform_(kelvora::testing::installRecordedPlatform("MacBookPro15,1")) {
    KVMainQueue::runPending();  // this is the main thread
  }

  // Waits as the program does: a result queues work of the main queue.
  template <typename Take>
  auto waitFor(Take take) {
    for (;;) {
      if (auto result = take()) {
        return *std::move(result);
      }
      KVMainQueue::runUntil(Clock::now() + std::chrono::milliseconds(5));
    }
  }
  std::optional<std::vector<CPUTopProcess>> nextProcesses(WatchSampler& sampler) {
    return waitFor([&] { return sampler.takeProcesses(); });
  }
  ScriptedChildProcesses& script(ScriptedChildProcesses::Script script) {
    auto children = std::make_unique<ScriptedChildProcesses>(std::move(script));
    ScriptedChildProcesses& result = *children;
    platform_.ports().childProcesses = std::move(children);
    return result;
  }

  Platform& platform_;
};

TEST_F(WatchSamplerTest, AReadingHasSensorsAndUsageAndIsTakenOnce) {
  WatchSampler sampler(platform_);
  EXPECT_FALSE(sampler.takeReading());
  sampler.read();
  const WatchReading reading = waitFor([&] { return sampler.takeReading(); });
  EXPECT_GT(reading.sensors.size(), 50U);
  EXPECT_GT(reading.usage.memory.used, 0);
  EXPECT_TRUE(reading.usage.isLoadSinceStartUp);
  EXPECT_FALSE(sampler.takeReading());
  sampler.read();
  const WatchReading second = waitFor([&] { return sampler.takeReading(); });
  EXPECT_EQ(second.sensors.size(), reading.sensors.size());
  EXPECT_TRUE(second.usage.rate) << "the second one has rates";
}

TEST_F(WatchSamplerTest, AReadThatFailsEachTimeIsReportedOnce) {
  auto& smc = kelvora::testing::ForwardingSMC::wrap(platform_);
  auto& centre = platform_.notificationCentres().distributed();
  std::vector<std::string> reported;
  const auto token = centre.addObserver(
      SensorControllerDidFailNotification, platform::SuspensionBehavior::kDefault,
      [&](const platform::Notification& notice) { reported.push_back(notice.object.value()); });
  WatchSampler sampler(platform_);
  const auto read = [&] {
    sampler.read();
    waitFor([&] { return sampler.takeReading(); });
  };
  read();
  smc.setOverride([](const auto& call, auto) {
    return call.key == SMCPackedKey("TC0P") ? std::optional(platform::kKernelError) : std::nullopt;
  });
  read();
  read();
  read();
  kelvora::testing::runDry(platform_.mainQueue());  // a fast reading ends before its wait begins
  EXPECT_EQ(std::ranges::count(reported, "SMC read (TC0P) failed"), 1);
  centre.removeObserver(token);
}

TEST_F(WatchSamplerTest, TheBusiestProcessesAreListed) {
  script([](const auto&) { return ScriptedOutcome{kList}; });
  WatchSampler sampler(platform_);
  sampler.readProcesses(1);
  const auto processes = nextProcesses(sampler);
  ASSERT_TRUE(processes);
  ASSERT_EQ(processes->size(), 1U);
  EXPECT_EQ(processes->front().command, "Safari");
}

TEST_F(WatchSamplerTest, ASystemWithoutAListIsNotOneThatIsStillRead) {
  script([](const auto&) { return std::nullopt; });
  WatchSampler sampler(platform_);
  sampler.readProcesses(5);
  EXPECT_EQ(nextProcesses(sampler), std::nullopt);
}

TEST_F(WatchSamplerTest, AListThatWasCutByAKillIsFollowedByAWholeOne) {
  int launches = 0;
  script([&](const auto&) {
    return ++launches == 1 ? ScriptedOutcome{"  PID  %CPU COMM\n  412  3", 128 + 9}
                           : ScriptedOutcome{kList};
  });
  WatchSampler sampler(platform_);
  sampler.readProcesses(5);
  EXPECT_EQ(nextProcesses(sampler)->size(), 1U);
  sampler.readProcesses(5);
  EXPECT_EQ(nextProcesses(sampler)->size(), 2U);
}

TEST_F(WatchSamplerTest, ASlowListHoldsUpNeitherReadingsNorTheEnd) {
  std::promise<void> gate;
  const std::shared_future<void> opened = gate.get_future().share();
  ScriptedChildProcesses& children = script([opened](const auto& request) {
    if (request.path == "/bin/ps") {
      opened.wait();
    }
    return std::optional(ScriptedOutcome{kList});
  });
  WatchSampler sampler(platform_);
  sampler.readProcesses(5);
  sampler.readProcesses(5);  // begins no second one
  sampler.read();
  waitFor([&] { return sampler.takeReading(); });
  sampler.read();
  waitFor([&] { return sampler.takeReading(); });
  EXPECT_FALSE(sampler.takeProcesses());
  EXPECT_FALSE(sampler.end(std::chrono::milliseconds(1)));
  gate.set_value();
  EXPECT_EQ(nextProcesses(sampler), std::nullopt) << "the list is not wanted any more";
  EXPECT_EQ(children.waits, 1) << "what runs is not started again";
}

TEST_F(WatchSamplerTest, TheEndEndsAListThatHangs) {
  auto made = std::make_unique<kelvora::testing::HangingChildProcesses>(kList);
  const auto& children = *made;
  platform_.ports().childProcesses = std::move(made);
  WatchSampler sampler(platform_);
  sampler.readProcesses(5);
  children.waitUntilHanging();
  EXPECT_TRUE(sampler.end(std::chrono::minutes(1)));
  EXPECT_EQ(children.ends, 1);
  EXPECT_EQ(nextProcesses(sampler), std::nullopt);
}

TEST_F(WatchSamplerTest, TheEndWaitsForWhatIsUnderWay) {
  script([](const auto&) { return ScriptedOutcome{kList}; });
  WatchSampler sampler(platform_);
  sampler.readProcesses(5);
  sampler.read();
  EXPECT_TRUE(sampler.end(std::chrono::minutes(1)));
  EXPECT_TRUE(sampler.takeProcesses());
  EXPECT_TRUE(sampler.takeReading());
}

}  // namespace
}  // namespace kelvora::tool
