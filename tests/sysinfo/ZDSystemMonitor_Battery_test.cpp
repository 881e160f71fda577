#include <gtest/gtest.h>

#include "sysinfo/BatteryAge.h"
#include "sysinfo/LocalDate.h"
#include "tests/sysinfo/MonitoredMac.h"

namespace kelvora {
namespace {

ZDBatteryUsage batteryWith(std::optional<platform::RecordedRegistryEntry> powerSource) {
  platform::RecordedMachine machine;
  machine.registry.emplace();
  if (powerSource) {
    machine.registry->emplace_back("IOPMPowerSource", std::move(*powerSource));
    machine.registry->emplace_back("IOPMPowerSource",
                                   testing::entry("second", {{"CycleCount", 9}}));
  }
  const testing::MonitoredMac mac(std::move(machine));
  return ZDSystemMonitor(*mac.platform).batteryUsageInfo();
}

void expectNothing(const ZDBatteryUsage& usage) {
  EXPECT_FALSE(usage.batteryInstalled || usage.fullyCharged || usage.externalConnected ||
               usage.isCharging);
  for (const double value : {usage.voltage, usage.amperage, usage.designCapacity, usage.maxCapacity,
                             usage.currentCapacity}) {
    EXPECT_EQ(value, 0);
  }
  for (const std::uint64_t value : {usage.designCycleCount, usage.cycleCount, usage.ageInDays}) {
    EXPECT_EQ(value, 0U);
  }
}

TEST(ZDSystemMonitor_Battery, IsTheFirstPowerSource) {
  const auto usage = batteryWith(testing::entry("AppleSmartBattery", {{"BatteryInstalled", true},
                                                                      {"FullyCharged", true},
                                                                      {"ExternalConnected", true},
                                                                      {"IsCharging", true},
                                                                      {"Voltage", 12450},
                                                                      {"Amperage", -1820},
                                                                      {"DesignCapacity", 8440},
                                                                      {"MaxCapacity", 7345},
                                                                      {"CurrentCapacity", 5876},
                                                                      {"DesignCycleCount9C", 1000},
                                                                      {"CycleCount", 412},
                                                                      {"ManufactureDate", 18977}}));
  EXPECT_TRUE(usage.batteryInstalled && usage.fullyCharged && usage.externalConnected &&
              usage.isCharging);
  EXPECT_EQ(usage.voltage, 12.45);
  EXPECT_EQ(usage.amperage, -1.82);
  EXPECT_EQ(usage.designCapacity, 8440);
  EXPECT_EQ(usage.maxCapacity, 7345);
  EXPECT_EQ(usage.currentCapacity, 5876);
  EXPECT_EQ(usage.designCycleCount, 1000U);
  EXPECT_EQ(usage.cycleCount, 412U);
  EXPECT_GE(usage.ageInDays, 3612U) << "22 November 2026";
  EXPECT_EQ(usage.ageInDays, batteryAgeInDays(18977, localToday()));
}

TEST(ZDSystemMonitor_Battery, EachTruthValueIsItsOwn) {
  EXPECT_TRUE(batteryWith(testing::entry("b", {{"BatteryInstalled", true}})).batteryInstalled);
  EXPECT_TRUE(batteryWith(testing::entry("b", {{"FullyCharged", 1}})).fullyCharged);
  EXPECT_TRUE(batteryWith(testing::entry("b", {{"ExternalConnected", "Yes"}})).externalConnected);
  EXPECT_TRUE(batteryWith(testing::entry("b", {{"IsCharging", 0.5}})).isCharging);
  expectNothing(batteryWith(testing::entry(
      "b", {{"BatteryInstalled", "No"}, {"FullyCharged", 0}, {"IsCharging", false}})));
}

TEST(ZDSystemMonitor_Battery, TextsAreConvertedAndOtherKindsAreZero) {
  const auto usage = batteryWith(testing::entry("b", {{"Voltage", "12450 mV"},
                                                      {"DesignCapacity", "8440.5"},
                                                      {"MaxCapacity", testing::data("ab")},
                                                      {"CurrentCapacity", 5876.25},
                                                      {"Amperage", "-1820.5"},
                                                      {"CycleCount", "412"},
                                                      {"DesignCycleCount9C", 1000.9}}));
  EXPECT_EQ(usage.voltage, 12.45);
  EXPECT_EQ(usage.designCapacity, 8440.5);
  EXPECT_EQ(usage.maxCapacity, 0);
  EXPECT_EQ(usage.currentCapacity, 5876.25);
  EXPECT_EQ(usage.amperage, -1.8205);
  EXPECT_EQ(batteryWith(testing::entry("b", {{"Voltage", 12450.5}})).voltage, 12.4505);
  EXPECT_EQ(usage.cycleCount, 412U);
  EXPECT_EQ(usage.designCycleCount, 1000U);
}

TEST(ZDSystemMonitor_Battery, MissingKeysAreZeroOrFalse) {
  expectNothing(batteryWith(testing::entry("b", {})));
}

TEST(ZDSystemMonitor_Battery, WithoutAPowerSourceEverythingIsZero) {
  expectNothing(batteryWith(std::nullopt));
  const testing::MonitoredMac noRegistry;
  expectNothing(ZDSystemMonitor(*noRegistry.platform).batteryUsageInfo());
  EXPECT_EQ(noRegistry.registry.classes, std::vector<std::string>{"IOPMPowerSource"});
}

class EntryWithoutProperties : public platform::RegistryEntry {
 public:
  std::optional<std::string> name() const override { return "b"; }
  std::optional<PropertyListValue::Dictionary> properties() const override { return std::nullopt; }
  std::optional<PropertyListValue> property(std::string_view) const override { return 5; }
  std::vector<std::unique_ptr<RegistryEntry>> children(std::string_view) const override {
    return {};
  }
};

TEST(ZDSystemMonitor_Battery, APowerSourceWithUnreadablePropertiesCountsAsAbsent) {
  testing::MonitoredMac mac;
  mac.registry.onMatchingServices = [](std::string_view) {
    std::vector<std::unique_ptr<platform::RegistryEntry>> entries;
    entries.push_back(std::make_unique<EntryWithoutProperties>());
    return std::optional(std::move(entries));
  };
  expectNothing(ZDSystemMonitor(*mac.platform).batteryUsageInfo());
}

}  // namespace
}  // namespace kelvora
