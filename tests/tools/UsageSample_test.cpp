// Samples of a running machine: what is known, what changed, and how they are shown.

#include "tools/kelvora/UsageSample.h"

#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ForwardingPorts.h"
#include "tests/support/SmallMac.h"
#include "tests/support/TestMac.h"
#include "tools/kelvora/Text.h"
#include "tools/kelvora/UsageText.h"

namespace kelvora::tool {
namespace {

using std::chrono::duration;
using std::chrono::seconds;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr std::int64_t kGigabyte = std::int64_t{1} << 30;

TEST(NetworkRates, AreBytesPerSecond) {
  const auto rate = networkRate({1000, 500}, {3000, 600}, seconds(2));
  ASSERT_TRUE(rate);
  EXPECT_EQ(rate->received, 1000);
  EXPECT_EQ(rate->sent, 50);
}

TEST(NetworkRates, ACounterThatWentBackIsARestart) {
  EXPECT_FALSE(networkRate({1000, 500}, {999, 600}, seconds(1)));
  EXPECT_FALSE(networkRate({1000, 500}, {1001, 499}, seconds(1)));
  EXPECT_FALSE(networkRate({1000, 500}, {0, 0}, seconds(1)));
}

TEST(NetworkRates, NothingInAnIntervalIsZero) {
  const auto rate = networkRate({1000, 500}, {1000, 500}, seconds(1));
  ASSERT_TRUE(rate);
  EXPECT_EQ(rate->received, 0);
  EXPECT_EQ(rate->sent, 0);
}

TEST(NetworkRates, NeedTimeBetweenTheSamples) {
  EXPECT_FALSE(networkRate({0, 0}, {1, 1}, seconds(0)));
  EXPECT_FALSE(networkRate({0, 0}, {1, 1}, seconds(-1)));
  EXPECT_TRUE(networkRate({0, 0}, {1, 1}, duration<double>(1e-9)));
}

TEST(NetworkRates, OfHugeCountersAreRight) {
  constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(networkRate({kLargest - 5, 0}, {kLargest, kLargest}, seconds(1))->received, 5);
}

TEST(KnownLoad, IsANumberFromZeroOn) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  EXPECT_EQ(knownLoad({25, 10, 10, 75, 5})->total, 25);
  EXPECT_EQ(knownLoad({0, 0, 0, 100, 0})->idle, 100);
  EXPECT_FALSE(knownLoad({kNaN, kNaN, kNaN, kNaN, kNaN}));
  EXPECT_FALSE(knownLoad({-1, -1, -1, -1, -1}));
}

// The figures of so much free, active, inactive, wired and installed memory.
ZDMemoryUsage memoryOf(std::int64_t free, std::int64_t active, std::int64_t inactive,
                       std::int64_t wired, std::int64_t installed) {
  const auto wrapped = [](std::int64_t bytes) { return bytes % (4 * kGigabyte); };
  ZDMemoryUsage usage;
  usage.free = wrapped(free);
  usage.used = installed - usage.free;
  usage.active = wrapped(active);
  usage.inactive = wrapped(inactive);
  usage.wired = wrapped(wired);
  usage.other = installed - (usage.free + usage.active + usage.inactive + usage.wired);
  return usage;
}

TEST(MemoryFigures, AreExactWhereNothingCanBeLost) {
  const auto small = memoryOf(kGigabyte, kGigabyte, kGigabyte, kGigabyte, 4 * kGigabyte);
  EXPECT_EQ(accuracyOf(small), MemoryAccuracy::kExact);
  const auto large =
      memoryOf(3 * kGigabyte, 3 * kGigabyte, 3 * kGigabyte, 3 * kGigabyte, 16 * kGigabyte - 1);
  EXPECT_EQ(accuracyOf(large), MemoryAccuracy::kExact) << "less than 4 GB are elsewhere";
}

TEST(MemoryFigures, AreBoundsWhereOneMayHaveWrapped) {
  const auto memory = memoryOf(kGigabyte, 6 * kGigabyte, kGigabyte, kGigabyte, 9 * kGigabyte);
  EXPECT_EQ(memory.active, 2 * kGigabyte);
  EXPECT_EQ(memory.other, 4 * kGigabyte);
  EXPECT_EQ(accuracyOf(memory), MemoryAccuracy::kWrapped);
  EXPECT_EQ(installedMemory(memory), 9 * kGigabyte) << "no figure changes the sum";
}

TEST(MemoryFigures, AreUnknownWhereTheSystemReportsNone) {
  EXPECT_EQ(accuracyOf(memoryOf(0, 0, 0, 0, 16 * kGigabyte)), MemoryAccuracy::kUnknown);
  EXPECT_EQ(accuracyOf(memoryOf(kGigabyte, 0, 0, 0, 0)), MemoryAccuracy::kUnknown);
  EXPECT_EQ(accuracyOf(ZDMemoryUsage()), MemoryAccuracy::kUnknown);
}

// A recorded Mac whose ticks and interfaces a test changes.
class Sampling : public ::testing::Test {
 protected:
  Sampling() {
    auto& statistics =
        testing::wrapPort<testing::ForwardingHostStatistics>(platform_->ports().hostStatistics);
    statistics.onProcessorTicks = [this] { return ticks_; };
  }
  UsageSample sampleAt(int second) {
    return sampler().sample(std::chrono::steady_clock::time_point(seconds(second)));
  }
  UsageSampler& sampler() {
    if (!sampler_) {
      sampler_.emplace(*platform_);
    }
    return *sampler_;
  }

  static platform::RecordedMachine machine() {
    auto machine = testing::recordedMachine("MacBookPro15,1");
    machine.sysctl["hw.ncpu"] = platform::int32ControlBytes(1);
    return machine;
  }

  std::unique_ptr<Platform> platform_ = testing::recordedPlatform(machine());
  std::optional<std::vector<platform::ProcessorTicks>> ticks_{{{100, 100, 800, 0}}};
  std::optional<UsageSampler> sampler_;
};

TEST_F(Sampling, TheFirstLoadIsSinceStartUpAndHasNoRate) {
  const UsageSample first = sampleAt(1);
  EXPECT_TRUE(first.isLoadSinceStartUp);
  EXPECT_FALSE(first.rate);
  EXPECT_TRUE(first.load);
}

TEST_F(Sampling, LaterOnesAreSinceTheOneBefore) {
  sampleAt(1);
  for (platform::ProcessorTicks& ticks : *ticks_) {
    ticks.user += 50;
    ticks.idle += 50;
  }
  const UsageSample second = sampleAt(3);
  EXPECT_FALSE(second.isLoadSinceStartUp);
  ASSERT_TRUE(second.rate);
  EXPECT_EQ(second.rate->received, 0);
  EXPECT_EQ(second.time.time_since_epoch(), seconds(3));
}

TEST_F(Sampling, WithoutTicksInBetweenTheLoadIsUnknown) {
  sampleAt(1);
  EXPECT_FALSE(sampleAt(2).load);
}

TEST_F(Sampling, WithoutTicksAtAllTheLoadIsUnknown) {
  ticks_.reset();
  EXPECT_FALSE(sampleAt(1).load);
}

TEST_F(Sampling, HasTheOtherFiguresOfTheMachine) {
  const UsageSample sample = sampleAt(1);
  EXPECT_EQ(sample.disk.total, 499963174912);
  EXPECT_EQ(sample.network.received, 88123456U + 5123456789U);
  EXPECT_EQ(sample.uptimeSeconds, 93784.5);
  EXPECT_TRUE(sample.battery.batteryInstalled);
  EXPECT_EQ(installedMemory(sample.memory), 16 * kGigabyte);
}

std::string text(const UsageSample& sample, std::size_t barColumns = 0) {
  const testing::TestMac host;
  host.addStrings("en", "");
  KVSettings settings(*host.platform);
  settings.setCurrentLanguage("en");
  const KVLocalized::Texts texts(settings, *host.platform);
  std::string text;
  for (const ScreenLine& line : linesOf(usageText(sample, texts, barColumns), 0)) {
    for (const Span& span : line) {
      text += span.text + "|";
    }
    text += "\n";
  }
  return text;
}

TEST(UsageText, OfNothingHasADashForEachFigure) {
  EXPECT_EQ(text(UsageSample()),
            "\n"
            "Processor|\n"
            "Total       |–|\nUser        |–|\nSystem      |–|\nLow priority|–|\nIdle        |–|\n"
            "\n"
            "Memory|\n"
            "Used        |–|\nFree        |–|\nActive      |–|\nInactive    |–|\nWired       |–|\n"
            "Other       |–|\n"
            "\n"
            "Startup Disk|\n"
            "Used        |–|\nFree        |–|\n"
            "\n"
            "Network|\n"
            "Received    |–, 0 bytes since start-up|\nSent        |–, 0 bytes since start-up|\n"
            "\n"
            "Uptime      |–|\n");
}

TEST(UsageText, ShowsTheLoadAndOfWhen) {
  UsageSample sample;
  sample.load = ZDCPUUsage{25.04, 10, 9.96, 74.96, 5};
  EXPECT_THAT(text(sample), HasSubstr("Processor|\nTotal       |25.0 %|\nUser        |10.0 %|\n"
                                      "System      |10.0 %|\nLow priority|5.0 %|\n"
                                      "Idle        |75.0 %|\n"));
  sample.isLoadSinceStartUp = true;
  EXPECT_THAT(text(sample), HasSubstr("\nProcessor (since start-up)|\n"));
}

TEST(UsageText, MemoryThatMayHaveWrappedIsABound) {
  UsageSample sample;
  sample.memory = memoryOf(kGigabyte, 6 * kGigabyte, kGigabyte, kGigabyte, 16 * kGigabyte);
  EXPECT_THAT(text(sample), HasSubstr("Used        |at most 15 GB of 16 GB|\n"
                                      "Free        |at least 1 GB|\n"
                                      "Active      |at least 2 GB|\n"
                                      "Inactive    |at least 1 GB|\n"
                                      "Wired       |at least 1 GB|\n"
                                      "Other       |at most 11 GB|\n"));
  sample.memory = memoryOf(kGigabyte, kGigabyte, kGigabyte / 2, kGigabyte, 4 * kGigabyte);
  EXPECT_THAT(text(sample), HasSubstr("Used        |3 GB of 4 GB|\n"
                                      "Free        |1 GB|\n"
                                      "Active      |1 GB|\n"
                                      "Inactive    |512 MB|\n"
                                      "Wired       |1 GB|\n"
                                      "Other       |512 MB|\n"));
}

TEST(UsageText, DisksAndNetworksAreCountedInThousands) {
  UsageSample sample;
  sample.disk = {500'000'000'000, 100'000'000'000, 400'000'000'000};
  sample.network = {1'500'000, 2};
  sample.rate = NetworkRate{1234, 0};
  EXPECT_THAT(text(sample), HasSubstr("Used        |400 GB of 500 GB|\nFree        |100 GB|\n"));
  EXPECT_THAT(text(sample), HasSubstr("Received    |1.23 KB/s, 1.5 MB since start-up|\n"
                                      "Sent        |0 bytes/s, 2 bytes since start-up|\n"));
}

TEST(UsageText, ABatteryHasItsChargeAndState) {
  UsageSample sample;
  ZDBatteryUsage& battery = sample.battery;
  battery = {.batteryInstalled = true,
             .voltage = 12.45,
             .amperage = -1.82,
             .maxCapacity = 5000,
             .currentCapacity = 3800,
             .designCycleCount = 1000,
             .cycleCount = 412,
             .ageInDays = 99};
  EXPECT_THAT(text(sample), HasSubstr("Battery|\n"
                                      "Charge             |76 %, on battery|\n"
                                      "Voltage            |12.45 V|\n"
                                      "Current            |-1.82 A|\n"
                                      "Battery Cycle Count|412 of 1000|\n"
                                      "Age                |99d|\n"));
  battery.externalConnected = true;
  EXPECT_THAT(text(sample), HasSubstr("|76 %, on mains|\n"));
  battery.isCharging = true;
  EXPECT_THAT(text(sample), HasSubstr("|76 %, charging|\n"));
  battery.fullyCharged = true;
  EXPECT_THAT(text(sample), HasSubstr("|76 %, fully charged|\n"));
  battery.ageInDays = 1;
  EXPECT_THAT(text(sample), HasSubstr("Age                |1d|\n"));
  battery.designCycleCount = 1;
  EXPECT_THAT(text(sample), HasSubstr("Battery Cycle Count|412 of 1|\n"));
  battery.maxCapacity = 0;
  battery.designCycleCount = 0;
  battery.ageInDays = 0;
  EXPECT_THAT(text(sample), HasSubstr("|–, fully charged|\n"));
  EXPECT_THAT(text(sample, 4), HasSubstr("|░░░░  –, fully charged|\n"));
  EXPECT_THAT(text(sample), HasSubstr("Battery Cycle Count|412|\n"));
  EXPECT_THAT(text(sample), Not(HasSubstr("Age")));
  battery.batteryInstalled = false;
  EXPECT_THAT(text(sample), Not(HasSubstr("Battery")));
}

TEST(UsageText, TheUptimeIsInDaysHoursAndMinutes) {
  UsageSample sample;
  const auto uptime = [&](double value) {
    sample.uptimeSeconds = value;
    const std::string lines = text(sample);
    return lines.substr(lines.rfind("Uptime"));
  };
  EXPECT_EQ(uptime(59), "Uptime      |0h 0m|\n");
  EXPECT_EQ(uptime(3661), "Uptime      |1h 1m|\n");
  EXPECT_EQ(uptime(93784.5), "Uptime      |1d 2h 3m|\n");
  EXPECT_EQ(uptime(86400), "Uptime      |1d 0h 0m|\n");
  EXPECT_THAT(uptime(1e300), HasSubstr("d "));
  EXPECT_EQ(uptime(std::nan("")), "Uptime      |–|\n");
}

// The tone of the line with this name.
Tone toneOfLine(const UsageSample& sample, const std::string& name) {
  const testing::TestMac host;
  host.addStrings("en", "");
  KVSettings settings(*host.platform);
  settings.setCurrentLanguage("en");
  const KVLocalized::Texts texts(settings, *host.platform);
  for (const ScreenLine& line : linesOf(usageText(sample, texts, 4), 0)) {
    if (line.size() == 2 && line[0].text.starts_with(name)) {
      return line[1].tone;
    }
  }
  return Tone::kTitle;
}

TEST(UsageText, GaugesWarnByTheirTone) {
  UsageSample sample;
  EXPECT_EQ(toneOfLine(sample, "Total"), Tone::kGood);
  EXPECT_EQ(toneOfLine(sample, "Used"), Tone::kGood);
  sample.load = ZDCPUUsage{90, 90, 0, 10, 0};
  EXPECT_EQ(toneOfLine(sample, "Total"), Tone::kHot);
  EXPECT_EQ(toneOfLine(sample, "User"), Tone::kPlain);
  sample.memory = memoryOf(kGigabyte, kGigabyte, kGigabyte, kGigabyte / 2, 4 * kGigabyte);
  EXPECT_EQ(toneOfLine(sample, "Used"), Tone::kWarm) << "three of four";
}

TEST(UsageText, ABatteryWarnsOfWhatItLacks) {
  UsageSample sample;
  sample.battery.batteryInstalled = true;
  EXPECT_EQ(toneOfLine(sample, "Charge"), Tone::kGood) << "unknown";
  sample.battery.maxCapacity = 100;
  sample.battery.currentCapacity = 80;
  EXPECT_EQ(toneOfLine(sample, "Charge"), Tone::kGood);
  sample.battery.currentCapacity = 30;
  EXPECT_EQ(toneOfLine(sample, "Charge"), Tone::kWarm);
  sample.battery.currentCapacity = 10;
  EXPECT_EQ(toneOfLine(sample, "Charge"), Tone::kHot);
}

TEST(UsageText, BarsComeBeforePercentages) {
  UsageSample sample;
  sample.load = ZDCPUUsage{50, 50, 0, 50, 0};
  EXPECT_THAT(text(sample, 4), HasSubstr("Total       |██░░  50.0 %|\n"));
  EXPECT_THAT(text(sample, 4), HasSubstr("Used        |░░░░  –|\n"));
  EXPECT_THAT(text(sample, 4), HasSubstr("User        |50.0 %|\n"));
}

TEST(Bars, AreFilledByTheFraction) {
  EXPECT_EQ(barText(0, 4), "░░░░");
  EXPECT_EQ(barText(0.5, 4), "██░░");
  EXPECT_EQ(barText(0.6, 4), "██░░") << "the nearest character";
  EXPECT_EQ(barText(0.63, 4), "███░");
  EXPECT_EQ(barText(1, 4), "████");
  EXPECT_EQ(barText(7, 4), "████");
  EXPECT_EQ(barText(-1, 4), "░░░░");
  EXPECT_EQ(barText(std::nan(""), 4), "░░░░");
  EXPECT_EQ(barText(0.5, 0), "");
  EXPECT_EQ(displayWidth(barText(0.3, 20)), 20U);
}

TEST(Bars, WarnByTheirTone) {
  EXPECT_EQ(toneOf(0), Tone::kGood);
  EXPECT_EQ(toneOf(0.59), Tone::kGood);
  EXPECT_EQ(toneOf(0.6), Tone::kWarm);
  EXPECT_EQ(toneOf(0.84), Tone::kWarm);
  EXPECT_EQ(toneOf(0.85), Tone::kHot);
  EXPECT_EQ(toneOf(2), Tone::kHot);
  EXPECT_EQ(toneOf(std::nan("")), Tone::kGood);
}

}  // namespace
}  // namespace kelvora::tool
