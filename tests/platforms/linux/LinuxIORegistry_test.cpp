#include "platforms/linux/system/LinuxIORegistry.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"

namespace kelvora::testing {
namespace {

using Attributes = std::map<std::string, std::string>;
using Properties = PropertyListValue::Dictionary;

// The attributes of a laptop's battery whose driver counts charge, as its kernel reported them.
const Attributes kChargeBattery = {{"type", "Battery"},
                                   {"scope", "System"},
                                   {"present", "1"},
                                   {"status", "Discharging"},
                                   {"voltage_min_design", "11400000"},
                                   {"voltage_now", "12450900"},
                                   {"current_now", "1820000"},
                                   {"charge_full_design", "8440000"},
                                   {"charge_full", "7345000"},
                                   {"charge_now", "5876000"},
                                   {"cycle_count", "412"},
                                   {"capacity", "80"},
                                   {"technology", "Li-ion"},
                                   {"manufacturer", "DSY"}};

// A battery whose driver counts energy, in a laptop on mains.
const Attributes kEnergyBattery = {{"type", "Battery"},
                                   {"present", "1"},
                                   {"status", "Charging"},
                                   {"voltage_min_design", "11400000"},
                                   {"voltage_now", "12000000"},
                                   {"power_now", "18000000"},
                                   {"energy_full_design", "57000000"},
                                   {"energy_full", "45600000"},
                                   {"energy_now", "22800000"},
                                   {"cycle_count", "7"}};

class LinuxIORegistryTest : public ::testing::Test {
 protected:
  void plugIn(const std::string& name, const Attributes& attributes) const {
    for (const auto& [attribute, value] : attributes) {
      root.write("sys/class/power_supply/" + name + "/" + attribute, value + "\n");
    }
  }
  void plugIn(const std::string& name, Attributes attributes, const Attributes& changes) const {
    for (const auto& [attribute, value] : changes) {
      attributes[attribute] = value;
    }
    plugIn(name, attributes);
  }
  std::vector<std::string> names(const char* serviceClass = "IOPMPowerSource") {
    std::vector<std::string> result;
    const auto services = registry.matchingServices(serviceClass);
    for (const auto& entry : *services) {
      result.push_back(*entry->name());
    }
    return result;
  }
  Properties battery() {
    return *registry.matchingServices("IOPMPowerSource")->front()->properties();
  }

  TemporaryFolder root;
  platform::LinuxIORegistry registry{root.path()};
};

TEST_F(LinuxIORegistryTest, ABatteryThatCountsChargeHasTheFiguresOfAMacs) {
  plugIn("ADP1", {{"type", "Mains"}, {"online", "0"}});
  plugIn("BAT0", kChargeBattery);
  EXPECT_EQ(battery(), (Properties{{"BatteryInstalled", true},
                                   {"FullyCharged", false},
                                   {"ExternalConnected", false},
                                   {"IsCharging", false},
                                   {"Voltage", 12451},
                                   {"Amperage", -1820},
                                   {"DesignCapacity", 8440},
                                   {"MaxCapacity", 7345},
                                   {"AppleRawMaxCapacity", 7345},
                                   {"CurrentCapacity", 5876},
                                   {"CycleCount", 412}}));
}

TEST_F(LinuxIORegistryTest, ABatteryThatCountsEnergyIsConvertedByTheVoltageItIsMadeFor) {
  plugIn("AC", {{"type", "Mains"}, {"online", "1"}});
  plugIn("BAT1", kEnergyBattery);
  EXPECT_EQ(battery(), (Properties{{"BatteryInstalled", true},
                                   {"FullyCharged", false},
                                   {"ExternalConnected", true},
                                   {"IsCharging", true},
                                   {"Voltage", 12000},
                                   {"Amperage", 1500},
                                   {"DesignCapacity", 5000},
                                   {"MaxCapacity", 4000},
                                   {"AppleRawMaxCapacity", 4000},
                                   {"CurrentCapacity", 2000},
                                   {"CycleCount", 7}}));
}

TEST_F(LinuxIORegistryTest, EnergyIsConvertedByTheVoltageNowIfNoOtherIsKnown) {
  Attributes attributes = kEnergyBattery;
  attributes.erase("voltage_min_design");
  plugIn("BAT0", attributes);
  EXPECT_EQ(battery().at("DesignCapacity"), PropertyListValue(4750));
}

TEST_F(LinuxIORegistryTest, WithoutAVoltageEnergyAndPowerAreAbsent) {
  for (const char* voltage : {"0", "unknown"}) {
    plugIn("BAT0", kEnergyBattery, {{"voltage_min_design", voltage}, {"voltage_now", voltage}});
    EXPECT_FALSE(battery().contains("DesignCapacity"));
    EXPECT_FALSE(battery().contains("Amperage"));
  }
}

TEST_F(LinuxIORegistryTest, TheStateSaysWhichWayTheCurrentFlows) {
  const auto amperage = [&](const char* status, const char* current) {
    plugIn("BAT0", kChargeBattery, {{"status", status}, {"current_now", current}});
    return battery().at("Amperage").integerValue();
  };
  EXPECT_EQ(amperage("Discharging", "1500000"), -1500);
  EXPECT_EQ(amperage("Discharging", "-1500000"), -1500);
  EXPECT_EQ(amperage("Charging", "1500000"), 1500);
  EXPECT_EQ(amperage("Charging", "-1500000"), 1500);
  EXPECT_EQ(amperage("Full", "-2000"), -2);
  EXPECT_EQ(amperage("Unknown", "2000"), 2);
}

TEST_F(LinuxIORegistryTest, AFullBatteryIsNotCharging) {
  plugIn("BAT0", kChargeBattery, {{"status", "Full"}});
  EXPECT_EQ(battery().at("FullyCharged"), PropertyListValue(true));
  EXPECT_EQ(battery().at("IsCharging"), PropertyListValue(false));
}

TEST_F(LinuxIORegistryTest, AnyAdapterFeedsTheComputer) {
  plugIn("BAT0", kChargeBattery);
  EXPECT_FALSE(battery().contains("ExternalConnected")) << "no adapter is known";
  plugIn("BAT0", {{"online", "1"}});
  EXPECT_FALSE(battery().contains("ExternalConnected")) << "a battery is no adapter";
  plugIn("AC", {{"type", "Mains"}, {"online", "0"}});
  plugIn("hid", {{"type", "USB"}, {"scope", "Device"}, {"online", "1"}});
  EXPECT_EQ(battery().at("ExternalConnected"), PropertyListValue(false));
  plugIn("usb-c", {{"type", "USB"}, {"online", "1"}});
  plugIn("usb-d", {{"type", "USB"}, {"online", "0"}});
  EXPECT_EQ(battery().at("ExternalConnected"), PropertyListValue(true));
}

TEST_F(LinuxIORegistryTest, TheManufactureDateIsPacked) {
  const auto packed = [&](const char* year, const char* month, const char* day) {
    plugIn("BAT0", kChargeBattery,
           {{"manufacture_year", year}, {"manufacture_month", month}, {"manufacture_day", day}});
    const auto properties = battery();
    const auto found = properties.find("ManufactureDate");
    return found == properties.end() ? -1 : found->second.integerValue();
  };
  EXPECT_EQ(packed("2017", "1", "1"), 18977);
  EXPECT_EQ(packed("1980", "12", "31"), 415);
  EXPECT_EQ(packed("9999", "1", "1"), 8019 << 9 | 33);
  for (const auto& [year, month, day] : {std::array{"0", "1", "1"},
                                         {"1979", "1", "1"},
                                         {"10000", "1", "1"},
                                         {"2017", "0", "1"},
                                         {"2017", "13", "1"},
                                         {"2017", "1", "0"},
                                         {"2017", "1", "32"},
                                         {"2017", "", "1"}}) {
    EXPECT_EQ(packed(year, month, day), -1) << year << month << day;
  }
}

TEST_F(LinuxIORegistryTest, TheBatteryOfAMouseIsNotTheComputers) {
  plugIn("hidpp_battery_0",
         {{"type", "Battery"}, {"scope", "Device"}, {"present", "1"}, {"status", "Discharging"}});
  EXPECT_TRUE(names().empty());
  plugIn("wacom", {{"type", "Battery"}, {"scope", "Unknown"}});
  EXPECT_EQ(names(), std::vector<std::string>{"wacom"});
}

TEST_F(LinuxIORegistryTest, BatteriesThatAreThereComeBeforeEmptyBays) {
  plugIn("BAT0", {{"type", "Battery"}, {"present", "0"}, {"status", "Unknown"}});
  plugIn("BAT1", {{"type", "Battery"}, {"present", "0"}});
  plugIn("BAT2", kEnergyBattery);
  plugIn("BAT3", {{"type", "Battery"}});
  EXPECT_EQ(names(), (std::vector<std::string>{"BAT2", "BAT3", "BAT0", "BAT1"}));
  const auto services = registry.matchingServices("IOPMPowerSource");
  EXPECT_EQ(services->at(2)->properties(), (Properties{{"BatteryInstalled", false}}));
}

TEST_F(LinuxIORegistryTest, ADesktopHasNone) {
  EXPECT_TRUE(names().empty()) << "not even a folder";
  plugIn("AC", {{"type", "Mains"}, {"online", "1"}});
  plugIn("ups", {{"type", "UPS"}, {"present", "1"}});
  EXPECT_TRUE(names().empty());
}

TEST_F(LinuxIORegistryTest, WhatTheKernelDoesNotReportIsAbsent) {
  plugIn("BAT0", {{"type", "Battery"}});
  EXPECT_EQ(
      battery(),
      (Properties{{"BatteryInstalled", true}, {"FullyCharged", false}, {"IsCharging", false}}));
  // Drivers that cannot read their hardware fail the read.
  std::filesystem::create_directories(root.path("sys/class/power_supply/BAT0/voltage_now"));
  EXPECT_FALSE(battery().contains("Voltage"));
}

TEST_F(LinuxIORegistryTest, ABatteryIsReadAtEachQuery) {
  plugIn("BAT0", kChargeBattery);
  const auto before = registry.matchingServices("IOPMPowerSource");
  plugIn("BAT0", {{"charge_now", "5000000"}});
  EXPECT_EQ(before->front()->property("CurrentCapacity"), PropertyListValue(5876));
  EXPECT_EQ(battery().at("CurrentCapacity"), PropertyListValue(5000));
}

TEST_F(LinuxIORegistryTest, OtherClassesHaveNoServices) {
  plugIn("BAT0", kChargeBattery);
  EXPECT_EQ(names("AppleSmartBattery"), std::vector<std::string>{"BAT0"});
  EXPECT_TRUE(names("IOPCIDevice").empty());
  EXPECT_TRUE(
      registry.matchingServices("AppleSmartBattery")->front()->children("IOService").empty());
}

}  // namespace
}  // namespace kelvora::testing
