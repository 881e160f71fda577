#include <gtest/gtest.h>

#include "tests/sysinfo/MonitoredMac.h"

namespace kelvora {
namespace {

constexpr std::int64_t kGiB = std::int64_t{1} << 30;

struct Outcome {
  ZDMemoryUsage usage;
  std::string standardError;
};

// Sampled on a Mac with 16 GiB.
Outcome sampled(std::optional<platform::MemoryPages> pages, std::optional<std::uint32_t> pageSize) {
  auto machine =
      testing::machineWithControls({{"hw.memsize", platform::int64ControlBytes(16 * kGiB)}});
  machine.statistics.memory = pages;
  machine.statistics.pageSizeBytes = pageSize;
  const testing::MonitoredMac mac(std::move(machine));
  const ZDSystemMonitor monitor(*mac.platform);
  ::testing::internal::CaptureStderr();
  Outcome outcome = {monitor.memoryUsageInfo(), ""};
  outcome.standardError = ::testing::internal::GetCapturedStderr();
  return outcome;
}

TEST(ZDSystemMonitor_Memory, PagesAreBytesAndTheRestIsOther) {
  const auto [usage, standardError] =
      sampled({{.free = 10, .active = 20, .inactive = 30, .wired = 40}}, 4096);
  EXPECT_EQ(usage.free, 40960);
  EXPECT_EQ(usage.used, 16 * kGiB - 40960);
  EXPECT_EQ(usage.active, 81920);
  EXPECT_EQ(usage.inactive, 122880);
  EXPECT_EQ(usage.wired, 163840);
  EXPECT_EQ(usage.other, 16 * kGiB - 409600);
  EXPECT_EQ(standardError, "");
}

TEST(ZDSystemMonitor_Memory, EachFigureWrapsAtFourGibibytes) {
  // 8 GiB and a page, in pages of 16 KiB.
  constexpr std::uint32_t kPages = 8 * kGiB / 16384 + 1;
  for (auto figure : {&platform::MemoryPages::free, &platform::MemoryPages::active,
                      &platform::MemoryPages::inactive, &platform::MemoryPages::wired}) {
    platform::MemoryPages pages;
    pages.*figure = kPages;
    const auto usage = sampled(pages, 16384).usage;
    EXPECT_EQ(usage.free + usage.active + usage.inactive + usage.wired, 16384);
    EXPECT_EQ(usage.other, 16 * kGiB - 16384);
  }
}

TEST(ZDSystemMonitor_Memory, FiguresAreUnsignedBeforeTheyAreWidened) {
  constexpr std::uint32_t kThreeGiB = 3 * kGiB / 4096;
  const auto usage = sampled({{kThreeGiB, kThreeGiB, kThreeGiB, kThreeGiB}}, 4096).usage;
  for (const std::int64_t bytes : {usage.free, usage.active, usage.inactive, usage.wired}) {
    EXPECT_EQ(bytes, 3 * kGiB);
  }
  EXPECT_EQ(usage.used, 13 * kGiB);
  EXPECT_EQ(usage.other, 4 * kGiB);
}

TEST(ZDSystemMonitor_Memory, WithoutAPageSizeWritesSoAndContinues) {
  const auto [usage, standardError] = sampled({{10, 20, 30, 40}}, std::nullopt);
  EXPECT_EQ(standardError, "getting page size");
  EXPECT_EQ(usage.free, 0);
  EXPECT_EQ(usage.used, 16 * kGiB);
  EXPECT_EQ(usage.other, 16 * kGiB);
}

TEST(ZDSystemMonitor_Memory, WithoutStatisticsWritesSoAndContinues) {
  const auto [usage, standardError] = sampled(std::nullopt, 4096);
  EXPECT_EQ(standardError, "Failed to get VM statistics.");
  EXPECT_EQ(usage.active, 0);
  EXPECT_EQ(usage.used, 16 * kGiB);
}

TEST(ZDSystemMonitor_Memory, WithoutBothWritesOfThePageSizeFirst) {
  const auto [usage, standardError] = sampled(std::nullopt, std::nullopt);
  EXPECT_EQ(standardError, "getting page sizeFailed to get VM statistics.");
  EXPECT_EQ(usage.free, 0);
  EXPECT_EQ(usage.used, 16 * kGiB);
  EXPECT_EQ(usage.other, 16 * kGiB);
}

TEST(ZDSystemMonitor_Memory, WithoutInstalledMemoryTheDifferencesAreNegative) {
  platform::RecordedMachine machine;
  machine.statistics.memory = {.free = 1, .active = 2, .inactive = 3, .wired = 4};
  machine.statistics.pageSizeBytes = 4096;
  const testing::MonitoredMac mac(std::move(machine));
  const auto usage = ZDSystemMonitor(*mac.platform).memoryUsageInfo();
  EXPECT_EQ(usage.used, -4096);
  EXPECT_EQ(usage.other, -40960);
}

}  // namespace
}  // namespace kelvora
