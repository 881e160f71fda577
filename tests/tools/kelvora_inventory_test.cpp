// The inventory as a person reads it.

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"
#include "tests/tools/KelvoraProgram.h"

namespace kelvora::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// The inventory of a machine file with these members, without its first line.
std::string inventoryOf(const std::string& members) {
  const TemporaryFolder folder;
  const std::string file = folder.write(
      "machine.json",
      R"({"format": "kelvora-machine", "version": 1, "architecture": "arm64", "title": "T")" +
          members + "}");
  const std::string report = runKelvora({"inventory", "--machine", file}).standardOutput;
  EXPECT_EQ(firstLine(report), "T (recorded)");
  return report.substr(report.find('\n') + 1);
}

TEST(KelvoraInventory, HasUnitsAndGroups) {
  EXPECT_EQ(inventoryOf(R"(, "sysctl": {
      "machdep.cpu.brand_string": "Intel(R) Core(TM) i9", "machdep.cpu.core_count": {"int32": 8},
      "hw.cpufrequency": {"int64": 3600000000}, "hw.l2cachesize": {"int64": 262144},
      "hw.l3cachesize": {"int64": 16777216}})"),
            "\nProcessor\n"
            "  Name              Intel Core i9\n"
            "  Cores             8\n"
            "  Frequency         3.6 GHz\n"
            "  Level 2 cache     256 KB\n"
            "  Level 3 cache     16 MB\n");
}

TEST(KelvoraInventory, HasNoLineForWhatTheMachineDoesNotReport) {
  const std::string report =
      inventoryOf(R"(, "sysctl": {"machdep.cpu.brand_string": "Apple M1 Pro"})");
  EXPECT_EQ(report, "\nProcessor\n  Name              Apple M1 Pro\n");
  EXPECT_EQ(inventoryOf(""), "");
}

TEST(KelvoraInventory, ShowsTheInstalledMemory) {
  EXPECT_THAT(inventoryOf(R"(, "sysctl": {"hw.memsize": {"int64": 17179869184}})"),
              HasSubstr("Memory\n  Installed         16 GB\n"));
}

TEST(KelvoraInventory, NamesEachKindOfCore) {
  EXPECT_THAT(inventoryOf(R"(, "sysctl": {"machdep.cpu.core_count": {"int32": 10}},
      "registry": [{"class": "AppleARMPE", "name": "device-tree", "properties": {}, "children": [
        {"name": "cpus", "properties": {"e-core-count": {"data": "02000000"},
                                        "p-core-count": {"data": "08000000"}}}]}])"),
              HasSubstr("  Cores             10 (8 performance, 2 efficiency)\n"));
}

TEST(KelvoraInventory, DescribesEachGraphicsProcessor) {
  const std::string report = inventoryOf(R"(, "registry": [
      {"class": "IOPCIDevice", "name": "a", "properties": {"model": {"data": "496e74656c20554844"}}},
      {"class": "IOPCIDevice", "name": "b", "properties": {"model": {"data": "414d442035363058"}}}])");
  EXPECT_THAT(report, HasSubstr("Graphics\n"
                                "  Name              Intel UHD (integrated)\n"
                                "  Name              AMD 560X (dedicated)\n"));
  EXPECT_THAT(inventoryOf(R"(, "sysctl": {"machdep.cpu.brand_string": "Apple M1"},
      "commands": [{"path": "/usr/sbin/system_profiler",
                    "arguments": ["SPDisplaysDataType", "-json"],
                    "stdout": {"SPDisplaysDataType": [{"sppci_model": "Apple M1",
                                                       "sppci_cores": "8",
                                                       "spdisplays_vram": "4 GB"}]}}])"),
              HasSubstr("  Name              Apple M1 (integrated, 8 cores, 4 GB)\n"));
}

TEST(KelvoraInventory, ShowsABatteryOnlyWhereThereIsOne) {
  EXPECT_THAT(inventoryOf(R"(, "sysctl": {"machdep.cpu.brand_string": "Intel"},
      "registry": [{"class": "AppleSmartBattery", "name": "b", "properties": {
        "CycleCount": 0, "MaxCapacity": 4500, "DesignCapacity": 5000}}])"),
              HasSubstr("Battery\n"
                        "  Health            90 %\n"
                        "  Capacity          4500 mAh\n"
                        "  Capacity as new   5000 mAh\n"
                        "  Charge cycles     0\n"));
  EXPECT_THAT(inventoryOf(R"(, "registry": [])"), Not(HasSubstr("Battery")));
}

TEST(KelvoraInventory, CountsTheDiskInThousandsAsItsMakerDoes) {
  const auto sizeOf = [](const std::string& bytes) {
    return inventoryOf(R"(, "volumes": [{"path": "/", "deviceModel": "D", "removable": false,
                                        "mediaSize": )" +
                       bytes + "}]");
  };
  EXPECT_THAT(sizeOf("500277792768"), HasSubstr("Startup disk\n"
                                                "  Model             D\n"
                                                "  Size              500.28 GB\n"));
  EXPECT_THAT(sizeOf("2000000000000"), HasSubstr("Size              2 TB\n"));
  EXPECT_THAT(sizeOf("0"), HasSubstr("Size              0 bytes\n"));
  EXPECT_THAT(sizeOf("9223372036854775807"), HasSubstr("Size              9.22 EB\n"));
}

TEST(KelvoraInventory, CannotControlTheTerminal) {
  EXPECT_THAT(inventoryOf(R"(, "host": {"localizedName": "a\u001b[31m\nb"})"),
              HasSubstr("  Name              a?[31m?b\n"));
}

}  // namespace
}  // namespace kelvora::testing
