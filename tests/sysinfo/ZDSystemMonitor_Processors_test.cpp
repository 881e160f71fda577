#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/sysinfo/MonitoredMac.h"

namespace kelvora {
namespace {

using Ticks = std::vector<platform::ProcessorTicks>;

std::vector<double> fields(const ZDCPUUsage& usage) {
  return {usage.total, usage.user, usage.system, usage.idle, usage.nice};
}

std::vector<double> widened(const std::vector<float>& values) {
  return {values.begin(), values.end()};
}

// A Mac with `count` processors, whose ticks the test sets.
class ProcessorLoad : public ::testing::Test {
 protected:
  ZDSystemMonitor& monitorOf(std::int32_t count) {
    mac_.controls.onByNumber = [=, this](std::span<const int> name, void* value,
                                         std::size_t* size) {
      EXPECT_EQ(std::vector(name.begin(), name.end()), (std::vector{6, 3}));
      EXPECT_EQ(*size, sizeof count);
      ++counted_;
      std::memcpy(value, &count, sizeof count);
      return error_;
    };
    mac_.statistics.onProcessorTicks = [this] { return ticks_; };
    monitor_ = std::make_unique<ZDSystemMonitor>(*mac_.platform);
    return *monitor_;
  }
  std::vector<double> sample(ZDSystemMonitor& monitor, std::optional<Ticks> ticks) {
    ticks_ = std::move(ticks);
    return fields(monitor.cpuUsageInfo());
  }

  testing::MonitoredMac mac_;
  std::optional<Ticks> ticks_;
  int counted_ = 0;
  int error_ = 0;
  std::unique_ptr<ZDSystemMonitor> monitor_;
};

TEST_F(ProcessorLoad, TheFirstSampleMeasuresSinceStartUp) {
  auto& monitor = monitorOf(1);
  EXPECT_EQ(sample(monitor, {{{1, 2, 30, 7}}}), (std::vector<double>{25, 2.5, 5, 75, 17.5}));
}

TEST_F(ProcessorLoad, LaterSamplesMeasureSinceTheOneBefore) {
  auto& monitor = monitorOf(1);
  sample(monitor, {{{1000, 2000, 3000, 4000}}});
  EXPECT_EQ(sample(monitor, {{{1001, 2002, 3030, 4007}}}),
            (std::vector<double>{25, 2.5, 5, 75, 17.5}));
  EXPECT_EQ(sample(monitor, {{{1002, 2002, 3031, 4007}}}), (std::vector<double>{50, 50, 0, 50, 0}));
}

TEST_F(ProcessorLoad, IsTheAverageOfTheSharesOfAllProcessors) {
  auto& monitor = monitorOf(2);
  // The second processor counted a hundred times as much, and weighs as much as the first.
  EXPECT_EQ(sample(monitor, {{{1, 0, 1, 0}, {0, 0, 200, 0}}}),
            (std::vector<double>{25, 25, 0, 75, 0}));
}

TEST_F(ProcessorLoad, ACounterThatWrappedStillGivesTheDifference) {
  auto& monitor = monitorOf(1);
  sample(monitor, {{{0xffffffff, 0xfffffffe, 0xfffffff0, 0xffffffff}}});
  EXPECT_EQ(sample(monitor, {{{0, 0, 14, 6}}}), (std::vector<double>{25, 2.5, 5, 75, 17.5}));
}

TEST_F(ProcessorLoad, SharesAndTheirSumsAreSinglePrecision) {
  auto& monitor = monitorOf(3);
  const float third = 1.0F / 3.0F * 100;
  const float twoThirds = 2.0F / 3.0F * 100;
  const float seventh = 1.0F / 7.0F * 100;
  const auto load = sample(monitor, {{{1, 0, 2, 0}, {0, 1, 2, 0}, {1, 0, 0, 6}}});
  EXPECT_EQ(load, widened({(third + third + 100) / 3, (third + seventh) / 3, third / 3,
                           (twoThirds + twoThirds) / 3, 6.0F / 7.0F * 100 / 3}));
}

TEST_F(ProcessorLoad, TicksAreAddedInSinglePrecisionAndDoNotWrap) {
  auto& monitor = monitorOf(1);
  constexpr std::uint32_t kMost = 0xffffffff;
  EXPECT_EQ(sample(monitor, {{{kMost, kMost, kMost, kMost}}}),
            (std::vector<double>{75, 25, 25, 25, 25}));
  // 2^24 and 1 are 2^24 in single precision.
  EXPECT_EQ(sample(monitor, {{{kMost + 16777216, kMost + 1, kMost, kMost}}})[1], 100);
}

TEST_F(ProcessorLoad, WithoutTicksInBetweenItIsNotANumber) {
  auto& monitor = monitorOf(2);
  const Ticks ticks = {{1, 2, 3, 4}, {5, 6, 7, 8}};
  sample(monitor, ticks);
  for (const double value : sample(monitor, ticks)) {
    EXPECT_TRUE(std::isnan(value));
  }
  // One processor without a tick is enough.
  for (const double value : sample(monitor, {{{1, 2, 3, 4}, {6, 7, 8, 9}}})) {
    EXPECT_TRUE(std::isnan(value));
  }
  EXPECT_EQ(sample(monitor, {{{2, 2, 3, 4}, {7, 7, 8, 9}}})[0], 100) << "the next sample is well";
}

TEST_F(ProcessorLoad, WithoutProcessorInformationIsMinusOneAndALine) {
  auto& monitor = monitorOf(1);
  sample(monitor, {{{10, 0, 10, 0}}});
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(sample(monitor, std::nullopt), std::vector<double>(5, -1));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Error fetching CPU usage - returning -1!\n");
  EXPECT_EQ(sample(monitor, {{{11, 0, 13, 0}}})[0], 25) << "since the last sample that was taken";
}

TEST_F(ProcessorLoad, AListWithoutProcessorsIsNotProcessorInformation) {
  auto& monitor = monitorOf(1);
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(sample(monitor, Ticks()), std::vector<double>(5, -1));
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Error fetching CPU usage - returning -1!\n");
  sample(monitor, {{{10, 0, 10, 0}}});
  sample(monitor, Ticks());
  EXPECT_EQ(sample(monitor, {{{11, 0, 13, 0}}})[0], 25) << "since the last sample that was taken";
}

TEST_F(ProcessorLoad, TheProcessorsAreCountedOnce) {
  auto& monitor = monitorOf(2);
  EXPECT_EQ(counted_, 1);
  sample(monitor, Ticks(2));
  sample(monitor, Ticks(2));
  EXPECT_EQ(counted_, 1);
}

TEST_F(ProcessorLoad, ACountThatCannotBeReadIsOne) {
  error_ = EPERM;
  EXPECT_EQ(sample(monitorOf(2), {{{1, 0, 3, 0}, {4, 0, 0, 0}}})[0], 25);
  error_ = 0;
  EXPECT_EQ(sample(monitorOf(0), {{{1, 0, 3, 0}}})[0], 25);
  EXPECT_EQ(sample(monitorOf(-1), {{{1, 0, 3, 0}}})[0], 25);
}

TEST_F(ProcessorLoad, OnlyTheCountedProcessorsAreAveraged) {
  EXPECT_EQ(sample(monitorOf(1), {{{1, 0, 3, 0}, {4, 0, 0, 0}}})[0], 25);
}

TEST_F(ProcessorLoad, AProcessorWithoutTicksIsNeitherBusyNorIdle) {
  auto& monitor = monitorOf(4);
  EXPECT_EQ(sample(monitor, {{{1, 0, 3, 0}, {0, 0, 4, 0}}}),
            (std::vector<double>{6.25, 6.25, 0, 43.75, 0}));
}

TEST_F(ProcessorLoad, MeasuresSinceStartUpWhenProcessorsWereTurnedOnOrOff) {
  auto& monitor = monitorOf(2);
  sample(monitor, {{{100, 0, 100, 0}, {1, 0, 1, 0}}});
  EXPECT_EQ(sample(monitor, {{{1, 0, 3, 0}}})[0], 12.5) << "this was the second processor";
  EXPECT_EQ(sample(monitor, {{{102, 0, 102, 0}, {1, 0, 3, 0}}})[0], 37.5);
}

TEST_F(ProcessorLoad, ThreadsThatSampleAtOnceGetValidShares) {
  auto& monitor = monitorOf(2);
  std::atomic<std::uint32_t> now = 0xffffff00;  // wraps on the way
  mac_.statistics.onProcessorTicks = [&] {
    const std::uint32_t tick = ++now;
    return Ticks{{tick, tick, 6 * tick, 0}, {0, tick, 0, tick}};
  };
  constexpr int kThreads = 4;
  constexpr int kSamples = 500;
  std::atomic<int> valid = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int sample = 0; sample < kSamples; ++sample) {
        const auto usage = monitor.cpuUsageInfo();
        valid += usage.total >= 0 && usage.total <= 100 && usage.idle >= 0 && usage.idle <= 100;
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(valid, kThreads * kSamples);
  monitor.cpuUsageInfo();
  EXPECT_EQ(fields(monitor.cpuUsageInfo()), (std::vector<double>{62.5, 6.25, 31.25, 37.5, 25}));
}

}  // namespace
}  // namespace kelvora
