#include "KelvoraCore/KVOverviewManager.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <limits>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/ZDSystemDevice.h"

#include "tests/support/SmallMac.h"
#include "tests/support/TestMac.h"

namespace kelvora {

void PrintTo(const KVOverviewItem& item, std::ostream* stream) {
  *stream << item.title << ": " << item.value.value_or("(none)");
}

namespace {

using platform::int32ControlBytes;
using platform::int64ControlBytes;
using platform::textControlBytes;
using ::testing::Contains;
using ::testing::ElementsAre;
using testing::machineWithControls;
using ::testing::Not;

using Titles = std::vector<std::string>;

/// The overview of a machine in the languages of the library's own tables.
class Overview {
 public:
  explicit Overview(platform::RecordedMachine machine)
      : platform(testing::recordedPlatform(std::move(machine))) {
    settings.setCurrentLanguage("en");
  }
  std::vector<KVOverviewItem> items() const { return manager.buildOverviewItems(); }
  Titles titles() const {
    Titles titles;
    for (const KVOverviewItem& item : items()) {
      titles.push_back(item.title);
    }
    return titles;
  }
  /// The values under a title, in order.
  std::vector<std::optional<std::string>> values(std::string_view title) const {
    std::vector<std::optional<std::string>> values;
    for (const KVOverviewItem& item : items()) {
      if (item.title == title) {
        values.push_back(item.value);
      }
    }
    return values;
  }
  std::string value(std::string_view title) const { return values(title).at(0).value(); }

  std::unique_ptr<Platform> platform;
  KVSettings settings{*platform};
  ZDSystemDevice device{*platform};
  KVOverviewManager manager{device, settings, *platform};
};

// A Mac whose registry has a core list with these counts; 0 is no count.
platform::RecordedMachine macWithCores(std::int32_t count, int performance, int efficiency) {
  auto machine = machineWithControls({{"machdep.cpu.core_count", int32ControlBytes(count)}});
  PropertyListValue::Dictionary counts;
  const auto add = [&](const char* key, int cores) {
    if (cores != 0) {
      counts.emplace(key, PropertyListValue::Data{std::byte(cores), {}, {}, {}});
    }
  };
  add("p-core-count", performance);
  add("e-core-count", efficiency);
  platform::RecordedRegistryEntry tree;
  tree.children.push_back(testing::entry("cpus", std::move(counts)));
  machine.registry->emplace_back("AppleARMPE", std::move(tree));
  return machine;
}

std::string coresOf(platform::RecordedMachine machine) {
  return Overview(std::move(machine)).value("Number of Cores");
}

TEST(Overview, HasItsLinesInOrder) {
  EXPECT_THAT(Overview(testing::recordedMachine("MacBookPro15,1")).titles(),
              ElementsAre("Model Identifier", "Model Year", "Serial Number", "macOS", "Processor",
                          "Number of Cores", "Number of Threads", "Graphics", "Dedicated Graphics",
                          "Memory", "Startup Disk", "Battery Health", "Battery Cycle Count"));
}

TEST(Overview, NoLineHasAType) {
  for (const KVOverviewItem& item : Overview(testing::recordedMachine("Macmini9,1")).items()) {
    EXPECT_EQ(item.type, 0U) << item.title;
  }
}

// Values of a machine that reports nothing, and the lines that are there nevertheless.
TEST(Overview, AMachineThatReportsNothingHasEveryLineButModelNumberAndGraphics) {
  const Overview overview((platform::RecordedMachine()));
  EXPECT_THAT(
      overview.items(),
      ElementsAre(KVOverviewItem{"Model Identifier", ""}, KVOverviewItem{"Model Year", "0"},
                  KVOverviewItem{"Serial Number", std::nullopt},
                  KVOverviewItem{"macOS", "macOS Unknown (0.0.0)"},
                  KVOverviewItem{"Processor", "Unknown"},
                  KVOverviewItem{"Number of Cores", "-1 (-1 performance, -1 efficiency)"},
                  KVOverviewItem{"Number of Threads", "-1"}, KVOverviewItem{"Memory", "Zero KB"},
                  KVOverviewItem{"Startup Disk", "Unknown"}, KVOverviewItem{"Battery Health", "0%"},
                  KVOverviewItem{"Battery Cycle Count", "0"}));
}

platform::RecordedMachine macWithHardwareReport(const std::string& members) {
  auto machine = machineWithControls({{"hw.model", textControlBytes("Mac99,1")}});
  machine.commands.push_back({"/usr/sbin/system_profiler",
                              {"SPHardwareDataType", "-json"},
                              R"({"SPHardwareDataType": [{)" + members + "}]}"});
  return machine;
}

TEST(Overview, TheModelNumberComesSecondWhereThereIsOne) {
  const Overview overview(
      macWithHardwareReport(R"("model_number": "Z12N0004VLL/A", "serial_number": "C02X")"));
  const auto items = overview.items();
  EXPECT_EQ(items.at(0), (KVOverviewItem{"Model Identifier", "Mac99,1"}));
  EXPECT_EQ(items.at(1), (KVOverviewItem{"Model Number", "Z12N0004VLL/A"}));
  EXPECT_EQ(items.at(2).title, "Model Year");
  EXPECT_EQ(items.at(3), (KVOverviewItem{"Serial Number", "C02X"}));
}

TEST(Overview, AnEmptyModelNumberHasNoLine) {
  EXPECT_THAT(Overview(macWithHardwareReport(R"("model_number": "")")).titles(),
              Not(Contains("Model Number")));
}

TEST(Overview, TheYearIsTheModels) {
  EXPECT_EQ(Overview(testing::recordedMachine("MacBookPro15,1")).value("Model Year"), "2018");
}

TEST(Overview, AnIntelMacHasNoKindsOfCores) { EXPECT_EQ(coresOf(macWithCores(6, 0, 0)), "6"); }

TEST(Overview, KindsOfCoresComeInParenthesesPerformanceFirst) {
  EXPECT_EQ(coresOf(macWithCores(10, 8, 2)), "10 (8 performance, 2 efficiency)");
  EXPECT_EQ(coresOf(macWithCores(8, 8, 0)), "8 (8 performance)");
  EXPECT_EQ(coresOf(macWithCores(4, 0, 4)), "4 (4 efficiency)");
}

TEST(Overview, CountsAreNumbersOf32Bits) {
  EXPECT_EQ(coresOf(macWithCores(0, 0, 0)), "-1");
  EXPECT_EQ(coresOf(machineWithControls(
                {{"machdep.cpu.core_count", int64ControlBytes((1LL << 32) + 6)}})),
            "6");
  const Overview overview(machineWithControls(
      {{"machdep.cpu.thread_count", int64ControlBytes((1LL << 33) + 0x80000000LL)}}));
  EXPECT_EQ(overview.value("Number of Threads"), "-2147483648");
}

platform::RecordedRegistryEntry graphicsProcessor(std::string_view model) {
  return testing::entry("GFX", {{"model", testing::data(model)}});
}

TEST(Overview, EachGraphicsProcessorHasALineInTheirOrder) {
  auto machine = machineWithControls({});
  machine.registry->emplace_back("IOPCIDevice", graphicsProcessor("AMD Radeon Pro 560X"));
  machine.registry->emplace_back("IOPCIDevice", graphicsProcessor("Intel UHD Graphics 630"));
  const auto items = Overview(std::move(machine)).items();
  EXPECT_EQ(items.at(6).title, "Number of Threads");
  EXPECT_EQ(items.at(7), (KVOverviewItem{"Dedicated Graphics", "AMD Radeon Pro 560X"}));
  EXPECT_EQ(items.at(8), (KVOverviewItem{"Graphics", "Intel UHD Graphics 630"}));
  EXPECT_EQ(items.at(9).title, "Memory");
}

TEST(Overview, WithoutGraphicsThereIsNoLine) {
  const Titles titles = Overview(machineWithControls({})).titles();
  EXPECT_THAT(titles, Not(Contains("Graphics")));
  EXPECT_THAT(titles, Not(Contains("Dedicated Graphics")));
}

// What the system's tool says of the graphics of a Mac with Apple silicon.
std::optional<std::string> graphicsOf(const std::string& members) {
  auto machine = testing::machineWithBrand("Apple M1");
  machine.commands.push_back({"/usr/sbin/system_profiler",
                              {"SPDisplaysDataType", "-json"},
                              R"({"SPDisplaysDataType": [{)" + members + "}]}"});
  return Overview(std::move(machine)).values("Graphics").at(0);
}

TEST(Overview, TheCoresOfAGraphicsProcessorComeInParentheses) {
  EXPECT_EQ(graphicsOf(R"("sppci_model": "Apple M1", "sppci_cores": "10")"), "Apple M1 (10 cores)");
  EXPECT_EQ(graphicsOf(R"("sppci_model": "Apple M1", "sppci_cores": "1")"), "Apple M1 (1 cores)");
  EXPECT_EQ(graphicsOf(R"("sppci_model": "Apple M1", "sppci_cores": "0")"), "Apple M1");
  EXPECT_EQ(graphicsOf(R"("sppci_model": "Apple M1", "sppci_cores": "-3")"), "Apple M1");
  EXPECT_EQ(graphicsOf(R"("sppci_model": "Apple M1")"), "Apple M1");
}

TEST(Overview, AGraphicsProcessorWithoutANameHasNoValueOrItsCores) {
  EXPECT_EQ(graphicsOf(R"("sppci_vram": "4 GB")"), std::nullopt);
  EXPECT_EQ(graphicsOf(R"("sppci_cores": "8")"), "(null) (8 cores)");
}

std::string memoryOf(std::int64_t bytes) {
  return Overview(machineWithControls({{"hw.memsize", int64ControlBytes(bytes)}})).value("Memory");
}

TEST(Overview, MemoryIsCountedInMultiplesOf1024) {
  EXPECT_EQ(memoryOf(17'179'869'184), "16 GB");
  EXPECT_EQ(memoryOf(1'610'612'736), "1.5 GB");
  EXPECT_EQ(memoryOf(1), "1 byte");
  EXPECT_EQ(memoryOf(0), "Zero KB");
  EXPECT_EQ(memoryOf(-1), "16 EB");
}

std::string diskOf(std::optional<std::int64_t> bytes) {
  auto machine = machineWithControls({});
  platform::DiskDescription disk;
  disk.mediaName = "Untitled 1";
  disk.deviceModel = "APPLE SSD AP0512M";
  disk.mediaSizeBytes = bytes;
  machine.volumes.push_back({"/", disk});
  return Overview(std::move(machine)).value("Startup Disk");
}

TEST(Overview, TheDiskHasItsSizeInMultiplesOf1000) {
  EXPECT_EQ(diskOf(500'277'792'768), "APPLE SSD AP0512M (500.28 GB)");
  EXPECT_EQ(diskOf(2), "APPLE SSD AP0512M (2 bytes)");
  EXPECT_EQ(diskOf(1), "APPLE SSD AP0512M (1 byte)");
  EXPECT_EQ(diskOf(std::numeric_limits<std::int64_t>::max()), "APPLE SSD AP0512M (9.22 EB)");
}

TEST(Overview, ADiskWithoutASizeHasItsNameOnly) {
  EXPECT_EQ(diskOf(0), "APPLE SSD AP0512M");
  EXPECT_EQ(diskOf(std::nullopt), "APPLE SSD AP0512M");
  EXPECT_EQ(diskOf(-1), "APPLE SSD AP0512M");
}

TEST(Overview, TheBatteryHasItsHealthAndCycles) {
  auto machine = testing::machineWithBrand("Intel(R) Core(TM) i7");
  const auto number = [](std::int64_t value) { return PropertyListValue(value); };
  machine.registry->emplace_back("AppleSmartBattery",
                                 testing::entry("b", {{"CycleCount", number(321)},
                                                      {"MaxCapacity", number(4567)},
                                                      {"DesignCapacity", number(5000)}}));
  const Overview overview(std::move(machine));
  EXPECT_EQ(overview.value("Battery Health"), "91%");
  EXPECT_EQ(overview.value("Battery Cycle Count"), "321");
}

KVOverviewItem systemOf(std::optional<platform::OSVersion> version, const std::string& text,
                        const std::string& kernel = "Darwin") {
  auto machine = machineWithControls({{"kern.ostype", textControlBytes(kernel)}});
  machine.osVersion = version;
  machine.osText = text;
  return Overview(std::move(machine)).items().at(3);
}

TEST(Overview, TheSystemHasItsNameAndVersion) {
  EXPECT_EQ(systemOf(platform::OSVersion{13, 4, 1}, "Version 13.4.1 (Build 22F82)"),
            (KVOverviewItem{"macOS", "macOS Ventura (13.4.1)"}));
  EXPECT_EQ(systemOf(platform::OSVersion{15, 1, 0}, ""),
            (KVOverviewItem{"macOS", "macOS Unknown (15.1.0)"}));
  EXPECT_EQ(systemOf(std::nullopt, "Version 13.4.1 (Build 22F82)"),
            (KVOverviewItem{"macOS", "macOS Unknown (0.0.0)"}));
}

TEST(Overview, AMacOSThatReportsNothingHasAnUnknownNameAndVersionZero) {
  EXPECT_EQ(systemOf(std::nullopt, ""), (KVOverviewItem{"macOS", "macOS Unknown (0.0.0)"}));
}

TEST(Overview, AnotherSystemIsNotCalledMacOS) {
  EXPECT_EQ(systemOf(platform::OSVersion{12, 0, 0}, "Debian GNU/Linux 12 (bookworm)", "Linux"),
            (KVOverviewItem{"Operating System", "Debian GNU/Linux 12 (bookworm)"}));
  EXPECT_EQ(systemOf(std::nullopt, "", "Linux"), (KVOverviewItem{"Operating System", "Linux"}));
}

TEST(Overview, TheNextListFollowsTheLanguage) {
  const Overview overview(testing::recordedMachine("Macmini9,1"));
  EXPECT_EQ(overview.items().at(0).title, "Model Identifier");
  KVSettings(*overview.platform).setCurrentLanguage("de");
  EXPECT_EQ(overview.items().at(0).title, "Modellkennung");
  EXPECT_EQ(overview.items().at(4).title, "macOS");
}

TEST(Overview, TheTextsOfTheHostAreNotFormatsOfPrintf) {
  const testing::TestMac host;
  host.addStrings("en",
                  "\"overview-number-of-p-cores-value\" = \"%s%n %d%%\";"
                  "\"overview-number-of-e-cores-value\" = \"%@\";"
                  "\"overview-number-of-cores-item\" = \"%s cores\";");
  KVSettings settings(*host.platform);
  settings.setCurrentLanguage("en");
  const auto machine = testing::recordedPlatform(macWithCores(10, 8, 2));
  const ZDSystemDevice device(*machine);
  const auto items = KVOverviewManager(device, settings, *host.platform).buildOverviewItems();
  EXPECT_THAT(items, Contains(KVOverviewItem{"%s cores", "10 (%s%n 8%, %@)"}));
}

TEST(Overview, WithoutATextTheTitleIsItsKey) {
  const testing::TestMac host;
  host.addStrings("en", "");
  KVSettings settings(*host.platform);
  const ZDSystemDevice device(*host.platform);
  const KVOverviewManager manager(device, settings, *host.platform);
  for (const char* language : {"en", "vi"}) {  // the host has no folder for the second
    settings.setCurrentLanguage(language);
    EXPECT_EQ(manager.buildOverviewItems().at(0).title, "overview-model-id-item") << language;
  }
}

TEST(SharedOverviewManager, ShowsTheSharedInventoryInTheSharedSettingsLanguage) {
  testing::installRecordedPlatform("Macmini9,1");
  KVSettings::shared().setCurrentLanguage("fr");
  EXPECT_EQ(KVOverviewManager::shared().buildOverviewItems().at(0),
            (KVOverviewItem{"Identifiant du modèle", "Macmini9,1"}));
  KVSettings::shared().setCurrentLanguage("en");
  EXPECT_EQ(KVOverviewManager().buildOverviewItems().at(0).title, "Model Identifier");
}

TEST(SharedOverviewManager, IsCreatedOnceAndGathersNothingByItself) {
  Platform& platform = testing::installRecordedPlatform("Macmini9,1");
  auto& controls =
      testing::wrapPort<testing::ForwardingSystemControls>(platform.ports().systemControls);
  std::vector<KVOverviewManager*> seen(4);
  std::vector<std::thread> threads;
  threads.reserve(seen.size());
  for (KVOverviewManager*& manager : seen) {
    threads.emplace_back([&manager] { manager = &KVOverviewManager::shared(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(seen, std::vector<KVOverviewManager*>(4, &KVOverviewManager::shared()));
  EXPECT_THAT(controls.names, ElementsAre());
  KVOverviewManager::shared().buildOverviewItems();
  EXPECT_THAT(controls.names, Contains("hw.model"));
}

// Every recorded Mac in every language, against what a person last looked at.
class ExpectedOverview : public ::testing::TestWithParam<const char*> {};

TEST_P(ExpectedOverview, InEveryLanguage) {
  const Overview overview(testing::recordedMachine(GetParam()));
  std::string actual;
  for (const std::string& language : overview.settings.allLanguages()) {
    KVSettings(*overview.platform).setCurrentLanguage(language);
    actual += language + "\n";
    for (const KVOverviewItem& item : overview.items()) {
      actual += "  " + item.title + ": " + item.value.value_or("(none)") + "\n";
    }
  }
  const std::string file =
      std::string(KELVORA_TEST_DATA "/machines/") + GetParam() + ".overview.languages.txt";
  if (std::getenv("KELVORA_REWRITE_EXPECTATIONS") != nullptr) {
    std::ofstream(file, std::ios::binary) << actual;
    FAIL() << file << " was written again: read it, then run without the switch";
  }
  std::ifstream stream(file, std::ios::binary);
  EXPECT_EQ(actual, std::string(std::istreambuf_iterator<char>(stream), {})) << "in " << file;
}

INSTANTIATE_TEST_SUITE_P(EveryMachine, ExpectedOverview,
                         ::testing::ValuesIn(testing::kRecordedMachines), [](const auto& machine) {
                           std::string name = machine.param;
                           std::ranges::replace(name, ',', '_');
                           return name;
                         });

}  // namespace
}  // namespace kelvora
