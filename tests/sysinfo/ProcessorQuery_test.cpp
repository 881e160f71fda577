#include "sysinfo/ProcessorQuery.h"

#include <cerrno>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "KelvoraCore/Sensor.h"

#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora {
namespace {

using platform::int32ControlBytes;
using platform::int64ControlBytes;
using platform::RecordedMachine;
using platform::textControlBytes;
using testing::data;
using testing::entry;
using testing::machineWithBrand;
using testing::machineWithControls;

constexpr std::uint64_t kAllBits = std::numeric_limits<std::uint64_t>::max();

ZDCPUInfo processorOf(RecordedMachine machine) {
  const auto platform = testing::recordedPlatform(std::move(machine));
  return queryProcessor(platform->systemControls(), platform->registry());
}

std::string brandOf(std::string_view brand) { return processorOf(machineWithBrand(brand)).brand; }

TEST(ProcessorQuery, ABrandLosesItsMarksAndItsRunsOfBlanks) {
  const ZDCPUInfo info = processorOf(machineWithControls(
      {{"machdep.cpu.brand_string", textControlBytes("Intel(R) Core(TM) i7-9750H CPU @ 2.60GHz")},
       {"machdep.cpu.vendor", textControlBytes("Vendor As Read")}}));
  EXPECT_EQ(info.brand, "Intel Core i7-9750H 2.60GHz");
  EXPECT_EQ(info.platform, 1U);
  EXPECT_EQ(info.vendor, "Vendor As Read");
}

TEST(ProcessorQuery, MarksAreTakenOutInTheirCaseAndTheEndsStay) {
  EXPECT_EQ(brandOf("Intel(r) Core(tm) cpu"), "Intel(r) Core(tm) cpu");
  EXPECT_EQ(brandOf("  CPU x @"), " x ");
  // Taking one mark out makes another: the marks are taken out one after the other.
  EXPECT_EQ(brandOf("C(TM)PU"), "Unknown");
  EXPECT_EQ(brandOf("(T(R)M)"), "(TM)");
  EXPECT_EQ(brandOf("C@PU"), "CPU");
}

TEST(ProcessorQuery, AnEmptyBrandIsUnknown) {
  EXPECT_EQ(brandOf(""), "Unknown");
  EXPECT_EQ(brandOf("CPU@(R)"), "Unknown");
  EXPECT_EQ(brandOf(" "), " ");
  EXPECT_EQ(processorOf(machineWithControls({})).brand, "Unknown");
}

TEST(ProcessorQuery, AnAbsentVendorIsGenuineIntelOnEveryMac) {
  EXPECT_EQ(processorOf(machineWithBrand("Apple M1")).vendor, "GenuineIntel");
}

TEST(ProcessorQuery, TheFamilyIsTheFirstThatTheBrandNames) {
  EXPECT_EQ(processorFamily("Intel Core i7"), 1U);
  EXPECT_EQ(processorFamily("Apple M1"), 2U);
  EXPECT_EQ(processorFamily("Apple M1 Pro"), 4U);
  EXPECT_EQ(processorFamily("Apple M1 Max"), 8U);
  EXPECT_EQ(processorFamily("Apple M1 Ultra"), 16U);
  EXPECT_EQ(processorFamily("Apple M2"), 32U);
  EXPECT_EQ(processorFamily("Apple M2 Pro"), 64U);
  EXPECT_EQ(processorFamily("Apple M2 Max"), 128U);
  EXPECT_EQ(processorFamily("Apple M2 Ultra"), 256U);
  EXPECT_EQ(processorFamily("Apple M3 Pro"), 0U);
  EXPECT_EQ(processorFamily("Unknown"), 0U);
  EXPECT_EQ(processorFamily(""), 0U);
}

TEST(ProcessorQuery, EarlierFamiliesWinOverLaterOnes) {
  EXPECT_EQ(processorFamily("INTEL M1"), 1U);
  EXPECT_EQ(processorFamily("m2 M1"), 2U);
  EXPECT_EQ(processorFamily("M1 ultra max PRO"), 4U);
  EXPECT_EQ(processorFamily("M1 ultra max"), 8U);
  EXPECT_EQ(processorFamily("M2 ULTRA max PRO"), 64U);
  EXPECT_EQ(processorFamily("M2 ULTRA Max"), 128U);
}

TEST(ProcessorQuery, ABrandNamesItsFamilyAndShortBrand) {
  const ZDCPUInfo pro = processorOf(machineWithBrand("Apple M1 Pro"));
  EXPECT_EQ(pro.platform, 4U);
  EXPECT_EQ(pro.shortBrand(), "M1 Pro");
  EXPECT_EQ(processorOf(machineWithBrand("Apple M2")).platform, 32U);
  EXPECT_EQ(processorOf(machineWithBrand("VirtualApple")).platform, 0U);
  // It is the cleaned brand that names the family.
  EXPECT_EQ(processorOf(machineWithBrand("Apple M(R)1 U@ltra")).platform, 16U);
}

TEST(ProcessorQuery, AbsentCountsAreAllBitsSetButOnePackage) {
  const ZDCPUInfo info = processorOf(machineWithControls({}));
  EXPECT_EQ(info.cpuCount, 1U);
  EXPECT_EQ(info.coreCount, kAllBits);
  EXPECT_EQ(info.threadCount, kAllBits);
}

TEST(ProcessorQuery, CountsAreThoseOfTheSystem) {
  const ZDCPUInfo info =
      processorOf(machineWithControls({{"hw.packages", int32ControlBytes(2)},
                                       {"machdep.cpu.core_count", int32ControlBytes(12)},
                                       {"machdep.cpu.thread_count", int64ControlBytes(24)}}));
  EXPECT_EQ(info.cpuCount, 2U);
  EXPECT_EQ(info.coreCount, 12U);
  EXPECT_EQ(info.threadCount, 24U);
}

TEST(ProcessorQuery, ScalesAreOfSinglePrecision) {
  const ZDCPUInfo info =
      processorOf(machineWithControls({{"hw.cpufrequency", int64ControlBytes(2'600'000'000)},
                                       {"hw.l2cachesize", int64ControlBytes(262'144)},
                                       {"hw.l3cachesize", int32ControlBytes(12'582'912)}}));
  EXPECT_EQ(info.frequency, static_cast<double>(2.6F));
  EXPECT_EQ(info.l2Cache, 0.25);
  EXPECT_EQ(info.l3Cache, 12.0);
}

TEST(ProcessorQuery, AFrequencyIsRoundedToSinglePrecisionBeforeItIsDivided) {
  const ZDCPUInfo info =
      processorOf(machineWithControls({{"hw.cpufrequency", int64ControlBytes(2'600'000'026)}}));
  EXPECT_EQ(info.frequency, static_cast<double>(2.6F));
}

TEST(ProcessorQuery, UnknownScalesAreSmallAndNegative) {
  const ZDCPUInfo info = processorOf(machineWithControls({}));
  EXPECT_EQ(info.frequency, static_cast<double>(-0.000000001F));
  EXPECT_EQ(info.l2Cache, -0.00000095367431640625);
  EXPECT_EQ(info.l3Cache, -0.00000095367431640625);
}

TEST(ProcessorQuery, TheArchitectureIsTwoOnlyWithoutAProcessorType) {
  EXPECT_EQ(processorOf(machineWithControls({})).architecture, 2);
  EXPECT_EQ(processorOf(machineWithControls({{"hw.cputype", int32ControlBytes(0)}})).architecture,
            2);
  EXPECT_EQ(processorOf(machineWithControls({{"hw.cputype", int32ControlBytes(7)}})).architecture,
            0);
  EXPECT_EQ(processorOf(machineWithControls({{"hw.cputype", int32ControlBytes(-1)}})).architecture,
            0);
}

// The cores of one device tree with these nodes.
std::optional<CPUCoresInfo> coresOf(std::vector<platform::RecordedRegistryEntry> nodes) {
  RecordedMachine machine = machineWithControls({});
  auto tree = entry("device-tree", {});
  tree.children = std::move(nodes);
  machine.registry->emplace_back("AppleARMPE", std::move(tree));
  const auto platform = testing::recordedPlatform(std::move(machine));
  return queryCores(platform->registry());
}

TEST(CoreQuery, AnIntelMacHasAnEmptyListAndNoCounts) {
  const ZDCPUInfo info = processorOf(machineWithBrand("Intel"));
  ASSERT_TRUE(info.coreList);
  EXPECT_TRUE(info.coreList->empty());
  EXPECT_EQ(info.eCoreCount, 0U);
  EXPECT_EQ(info.pCoreCount, 0U);
}

TEST(CoreQuery, AFailedQueryGivesNoListAndAllBitsSet) {
  RecordedMachine machine = machineWithBrand("Apple M1");
  machine.registry.reset();
  const ZDCPUInfo info = processorOf(std::move(machine));
  EXPECT_EQ(info.coreList, std::nullopt);
  EXPECT_EQ(info.eCoreCount, kAllBits);
  EXPECT_EQ(info.pCoreCount, kAllBits);
}

TEST(CoreQuery, ClusterTypesAreTrimmedOfWhiteSpaceLineEndsAndTerminators) {
  const auto typeOf = [](std::string_view cluster) {
    return coresOf({entry("cpu0", {{"cluster-type", data(cluster)}})})->coreList.at(0).type;
  };
  EXPECT_EQ(typeOf({"E\0", 2}), CPUCoreTypeEfficiency);
  EXPECT_EQ(typeOf("E"), CPUCoreTypeEfficiency);
  EXPECT_EQ(typeOf("E \t\n"), CPUCoreTypeEfficiency);
  EXPECT_EQ(typeOf({" P\r\n\0\0", 6}), CPUCoreTypePerformance);
  EXPECT_EQ(typeOf("M"), CPUCoreTypeUnknown);
  EXPECT_EQ(typeOf("e"), CPUCoreTypeUnknown);
  EXPECT_EQ(typeOf("EP"), CPUCoreTypeUnknown);
  EXPECT_EQ(typeOf("\xff"), CPUCoreTypeUnknown);
  EXPECT_EQ(typeOf(""), CPUCoreTypeUnknown);
}

TEST(CoreQuery, CoresKeepTheirOrderNamesAndIdentifiers) {
  const auto cores = coresOf({entry("cpu1", {{"cpu-id", data({"\x01\x02\0\0\xff", 5})}}),
                              entry("cpu0", {{"cpu-id", data({"\xff\xff\xff\xff", 4})}})});
  const std::vector<CPUCoreInfo> expected = {{0x201, "cpu1", 0}, {-1, "cpu0", 0}};
  EXPECT_EQ(cores->coreList, expected);
}

TEST(CoreQuery, DataOfFewerThanFourBytesAndOtherKindsAreZero) {
  const auto cores = coresOf({entry("cpu0", {{"cpu-id", data("\x01\x02\x03")}}),
                              entry("cpu1", {{"cpu-id", 5}, {"cluster-type", "E"}}),
                              entry("cpu2", {}), entry("cpus", {{"e-core-count", data("\x04")}})});
  const std::vector<CPUCoreInfo> expected = {{0, "cpu0", 0}, {0, "cpu1", 0}, {0, "cpu2", 0}};
  EXPECT_EQ(cores->coreList, expected);
  EXPECT_EQ(cores->eCores, 0);
  EXPECT_EQ(cores->pCores, std::nullopt);
}

TEST(CoreQuery, OnlyNodesNamedLikeACoreAreCores) {
  const auto cores =
      coresOf({entry("cpu", {}), entry("xcpu0", {}), entry("CPU0", {}), entry("cpu0-debug", {}),
               entry("cpus", {}), entry("cpusx", {{"e-core-count", data({"\x04\0\0\0", 4})}}),
               entry("Cpus", {{"p-core-count", data({"\x04\0\0\0", 4})}})});
  ASSERT_EQ(cores->coreList.size(), 1U);
  EXPECT_EQ(cores->coreList.front().name, "cpu0-debug");
  EXPECT_EQ(cores->eCores, std::nullopt);
  EXPECT_EQ(cores->pCores, std::nullopt);
}

TEST(CoreQuery, ALaterCoresNodeReplacesTheCounts) {
  const auto cores = coresOf({entry("cpus", {{"e-core-count", data({"\x04\0\0\0", 4})},
                                             {"p-core-count", data({"\x04\0\0\0", 4})}}),
                              entry("cpus", {{"e-core-count", data({"\x02\0\0\0", 4})},
                                             {"p-core-count", data({"\x08\0\0\0", 4})}})});
  EXPECT_EQ(cores->eCores, 2);
  EXPECT_EQ(cores->pCores, 8);
}

TEST(CoreQuery, ALaterCoresNodeWithoutACountKeepsTheEarlierOne) {
  const auto cores = coresOf({entry("cpus", {{"e-core-count", data({"\x04\0\0\0", 4})},
                                             {"p-core-count", data({"\x08\0\0\0", 4})}}),
                              entry("cpus", {{"e-core-count", data({"\x02\0\0\0", 4})}}),
                              entry("cpus", {{"p-core-count", 6}})});
  EXPECT_EQ(cores->eCores, 2);
  EXPECT_EQ(cores->pCores, 8);
}

TEST(CoreQuery, TheCountsOfBothKindsGoToTheProcessor) {
  RecordedMachine machine = machineWithControls({});
  auto tree = entry("device-tree", {});
  tree.children = {
      entry("cpu5", {{"cpu-id", data({"\x05\0\0\0", 4})}, {"cluster-type", data("P")}}),
      entry("cpus", {{"e-core-count", data({"\x02\0\0\0", 4})},
                     {"p-core-count", data({"\x08\0\0\0", 4})}})};
  machine.registry->emplace_back("AppleARMPE", std::move(tree));
  const ZDCPUInfo info = processorOf(std::move(machine));
  EXPECT_EQ(info.eCoreCount, 2U);
  EXPECT_EQ(info.pCoreCount, 8U);
  const std::vector<CPUCoreInfo> expected = {{5, "cpu5", CPUCoreTypePerformance}};
  EXPECT_EQ(info.coreList, expected);
}

TEST(ProcessorQuery, TheDeviceTreeIsReadBetweenTheCountsAndTheScales) {
  std::vector<std::string> queries;
  testing::ForwardingSystemControls controls(nullptr);
  controls.onByName = [&](const char* name, void*, std::size_t*) {
    queries.emplace_back(name);
    return ENOENT;
  };
  testing::ForwardingIORegistry registry(nullptr);
  registry.onMatchingServices = [&](std::string_view serviceClass) {
    queries.emplace_back(serviceClass);
    return testing::ForwardingIORegistry::Entries();
  };
  queryProcessor(controls, registry);
  const std::vector<std::string> expected = {
      "machdep.cpu.brand_string", "machdep.cpu.vendor", "hw.packages",     "machdep.cpu.core_count",
      "machdep.cpu.thread_count", "AppleARMPE",         "hw.cpufrequency", "hw.l2cachesize",
      "hw.l3cachesize",           "hw.cputype"};
  EXPECT_EQ(queries, expected);
}

TEST(ProcessorQuery, ValuesBelowZeroAreThoseOfTheSystem) {
  const ZDCPUInfo info =
      processorOf(machineWithControls({{"hw.packages", int32ControlBytes(-2)},
                                       {"machdep.cpu.core_count", int32ControlBytes(-3)},
                                       {"machdep.cpu.thread_count", int64ControlBytes(-4)},
                                       {"hw.cpufrequency", int64ControlBytes(-2'000'000'000)},
                                       {"hw.l2cachesize", int32ControlBytes(-1'048'576)}}));
  EXPECT_EQ(info.cpuCount, kAllBits - 1);
  EXPECT_EQ(info.coreCount, kAllBits - 2);
  EXPECT_EQ(info.threadCount, kAllBits - 3);
  EXPECT_EQ(info.frequency, -2.0);
  EXPECT_EQ(info.l2Cache, -1.0);
}

// An entry may have no name or no properties: a device that is removed has neither.
class FailingEntry : public platform::RegistryEntry {
 public:
  FailingEntry(const char* name, bool hasProperties) : name_(name), hasProperties_(hasProperties) {}
  std::optional<std::string> name() const override {
    if (name_ == nullptr) {
      return std::nullopt;
    }
    return name_;
  }
  std::optional<PropertyListValue::Dictionary> properties() const override {
    if (!hasProperties_) {
      return std::nullopt;
    }
    return PropertyListValue::Dictionary{};
  }
  std::optional<PropertyListValue> property(std::string_view) const override {
    return std::nullopt;
  }
  std::vector<std::unique_ptr<RegistryEntry>> children(std::string_view plane) const override {
    std::vector<std::unique_ptr<RegistryEntry>> result;
    if (plane != "IOService") {
      return result;
    }
    result.push_back(std::make_unique<FailingEntry>(nullptr, true));
    result.push_back(std::make_unique<FailingEntry>("cpu0", false));
    result.push_back(std::make_unique<FailingEntry>("cpu1", true));
    return result;
  }

 private:
  const char* name_;
  bool hasProperties_;
};

TEST(CoreQuery, NodesWithoutANameOrPropertiesAreSkippedInEveryService) {
  testing::ForwardingIORegistry registry(nullptr);
  registry.onMatchingServices = [](std::string_view) {
    std::vector<std::unique_ptr<platform::RegistryEntry>> services;
    services.push_back(std::make_unique<FailingEntry>("a", false));
    services.push_back(std::make_unique<FailingEntry>("b", false));
    return testing::ForwardingIORegistry::Entries(std::move(services));
  };
  const std::vector<CPUCoreInfo> expected = {{0, "cpu1", 0}, {0, "cpu1", 0}};
  EXPECT_EQ(queryCores(registry)->coreList, expected);
}

}  // namespace
}  // namespace kelvora
