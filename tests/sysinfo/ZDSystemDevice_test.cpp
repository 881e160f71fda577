#include "KelvoraCore/ZDSystemDevice.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <unicode/locid.h>

#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora {
namespace {

class ZDSystemDeviceTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale("en_US"), status);
  }
};

using Events = std::vector<std::string>;

class RecordingFacts : public testing::ForwardingSystemFacts {
 public:
  RecordingFacts(std::unique_ptr<SystemFacts> port, Events& events)
      : ForwardingSystemFacts(std::move(port)), events_(events) {
    onActiveDisplays = [this] { return noted("displays", behind->activeDisplays()); };
    onMountedVolumePaths = [this] { return noted("volumes", behind->mountedVolumePaths()); };
  }
  std::string localizedHostName() override {
    return noted("host name", behind->localizedHostName());
  }
  std::string osVersionText() override { return noted("system", behind->osVersionText()); }

 private:
  template <typename Answer>
  Answer noted(const char* event, Answer answer) {
    events_.emplace_back(event);
    return answer;
  }
  Events& events_;
};

// Notes what is asked for while the inventory of a recorded Mac is gathered, in order.
Events eventsOfInventory(const std::string& machine) {
  Events events;
  const auto platform = testing::recordedPlatform(testing::recordedMachine(machine));
  platform::Ports& ports = platform->ports();
  ports.systemFacts = std::make_unique<RecordingFacts>(std::move(ports.systemFacts), events);
  auto& controls = testing::wrapPort<testing::ForwardingSystemControls>(ports.systemControls);
  controls.onByName = [&](const char* name, void* value, std::size_t* size) {
    if (value == nullptr) {
      events.emplace_back(name);
    }
    return controls.behind->byName(name, value, size);
  };
  auto& registry = testing::wrapPort<testing::ForwardingIORegistry>(ports.registry);
  registry.onMatchingServices = [&](std::string_view serviceClass) {
    events.emplace_back(serviceClass);
    return registry.behind->matchingServices(serviceClass);
  };
  auto& children = testing::wrapPort<testing::ForwardingChildProcesses>(ports.childProcesses);
  children.onLaunch = [&](const platform::ChildRequest& request) {
    events.push_back(request.arguments.front());
    return children.behind->launch(request);
  };
  const ZDSystemDevice device(*platform);
  return events;
}

// What the inventory asks for, with the queries of the graphics. The kernel's name decides whether
// there are tools of macOS.
Events expectedEvents(const Events& graphics) {
  Events events = {"host name", "hw.model", "kern.ostype", "SPHardwareDataType", "hw.byteorder",
                   "displays",
                   // The processor.
                   "machdep.cpu.brand_string", "machdep.cpu.vendor", "hw.packages",
                   "machdep.cpu.core_count", "machdep.cpu.thread_count", "AppleARMPE",
                   "hw.cpufrequency", "hw.l2cachesize", "hw.l3cachesize", "hw.cputype"};
  events.insert(events.end(), graphics.begin(), graphics.end());
  for (const char* event :
       {"AppleSmartBattery", "volumes", "system", "kern.ostype", "hw.memsize"}) {
    events.emplace_back(event);
  }
  return events;
}

TEST_F(ZDSystemDeviceTest, TheInventoryIsGatheredOnceInItsOrder) {
  EXPECT_EQ(eventsOfInventory("MacBookPro15,1"), expectedEvents({"IOPCIDevice"}));
  EXPECT_EQ(eventsOfInventory("Macmini9,1"), expectedEvents({"kern.ostype", "SPDisplaysDataType"}));
}

TEST_F(ZDSystemDeviceTest, TheSharedDeviceIsCreatedOnceByWhoeverComesFirst) {
  Platform& platform = testing::installRecordedPlatform("Macmini9,1");
  auto& controls =
      testing::wrapPort<testing::ForwardingSystemControls>(platform.ports().systemControls);
  std::vector<ZDSystemDevice*> seen(8);
  std::vector<std::thread> threads;
  threads.reserve(seen.size());
  for (ZDSystemDevice*& device : seen) {
    threads.emplace_back([&device] { device = &ZDSystemDevice::device(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(seen, std::vector<ZDSystemDevice*>(8, &ZDSystemDevice::device()));
  EXPECT_EQ(std::count(controls.names.begin(), controls.names.end(), "hw.model"), 2);
  EXPECT_EQ(seen.front()->modelInfo().modelId, "Macmini9,1");
}

TEST_F(ZDSystemDeviceTest, TheModelIdentifierNeedsNoInventory) {
  const auto platform = testing::recordedPlatform(testing::recordedMachine("Macmini9,1"));
  auto& controls =
      testing::wrapPort<testing::ForwardingSystemControls>(platform->ports().systemControls);
  EXPECT_EQ(ZDSystemDevice::modelIdentifier(*platform), "Macmini9,1");
  EXPECT_EQ(std::set<std::string>(controls.names.begin(), controls.names.end()),
            std::set<std::string>{"hw.model"});
  EXPECT_EQ(ZDSystemDevice::modelIdentifier(*testing::recordedPlatform({})), "");
}

TEST_F(ZDSystemDeviceTest, AMachineThatAnswersNothingHasTheDefaults) {
  const auto platform = testing::recordedPlatform({});
  ::testing::internal::CaptureStderr();
  const ZDSystemDevice device(*platform);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "system_profiler SPMemoryDataType: No such file or directory\n"
            "empty disk after fetching list\n");
  EXPECT_EQ(device.hostName(), "");
  EXPECT_EQ(device.cpuInfo().brand, "Unknown");
  EXPECT_EQ(device.cpuInfo().platform, 0U);
  EXPECT_EQ(device.gpuInfos(), std::vector<ZDGPUInfo>{});
  EXPECT_EQ(device.batteryInfo().health(), 0);
  EXPECT_FALSE(device.diskInfo());
  EXPECT_EQ(device.osInfo().build, "Unknown");
  EXPECT_EQ(device.osInfo().version, ZDOSVersion{});
  EXPECT_EQ(device.memoryInfo().physicalMemory, "Zero KB");
  EXPECT_EQ(device.modelInfo().family, 0);
}

// The inventory of a recorded Mac as lines of text, "-" for none.
std::string text(const std::optional<std::string>& value) { return value.value_or("-"); }

void print(std::ostream& out, const ZDModelInfo& info) {
  out << info.modelId << ", " << text(info.modelNumber) << ", " << text(info.name) << ", "
      << info.year << ", family " << info.family << ", " << info.displayResolution.width << "x"
      << info.displayResolution.height << ", " << text(info.serial) << ", endianness "
      << info.endianness << '\n';
}

void print(std::ostream& out, const ZDCPUInfo& info) {
  out << info.brand << ", " << info.vendor << ", family " << info.platform << ", architecture "
      << info.architecture << '\n'
      << info.cpuCount << " package, " << info.coreCount << " cores, " << info.threadCount
      << " threads, E" << info.eCoreCount << " P" << info.pCoreCount << ", "
      << info.coreList.value().size() << " listed\n"
      << info.frequency << " GHz, " << info.l2Cache << " MiB, " << info.l3Cache << " MiB\n";
}

void print(std::ostream& out, const ZDGPUInfo& info) {
  out << text(info.modelName) << ", " << text(info.shortModelName)
      << (info.isDedicated ? ", dedicated, " : ", ") << text(info.vendor) << ", " << text(info.vram)
      << ", " << info.cores << " cores\n";
}

std::string inventory(const std::string& machine) {
  const auto platform = testing::recordedPlatform(testing::recordedMachine(machine));
  const ZDSystemDevice device(*platform);
  std::ostringstream out;
  out << '\n' << device.hostName() << '\n';
  print(out, device.modelInfo());
  print(out, device.cpuInfo());
  for (const ZDGPUInfo& info : device.gpuInfos().value()) {
    print(out, info);
  }
  const ZDBatteryInfo& battery = device.batteryInfo();
  out << battery.cycleCount << " cycles, " << battery.maxCapacity << "/" << battery.designedCapacity
      << ", " << battery.health() << " %\n";
  const ZDDiskInfo& disk = device.diskInfo().value();
  out << disk.name << ", " << disk.model << ", " << disk.size.value() << '\n';
  const ZDOSInfo& system = device.osInfo();
  out << system.name() << ", " << system.versionString() << ", " << system.build << '\n';
  out << device.memoryInfo().physicalMemory << '\n';
  return out.str();
}

TEST_F(ZDSystemDeviceTest, TheMacBookProOf2012) {
  EXPECT_EQ(inventory("MacBookPro10,1"), R"(
MacBook Pro 15-inch 2012
MacBookPro10,1, -, MacBook Pro 15-inch, 2012, family 2, 1680x1050, C02000000000, endianness 0
Intel Core i7-3720QM 2.60GHz, GenuineIntel, family 1, architecture 0
1 package, 4 cores, 8 threads, E0 P0, 0 listed
2.6 GHz, 0.25 MiB, 6 MiB
Intel HD Graphics 4000, -, -, -, 0 cores
NVIDIA GeForce GT 650M, NVIDIA, dedicated, -, -, 0 cores
412 cycles, 7345/8440, 87 %
Untitled 1, APPLE SSD SM512E Media, 500277792768
High Sierra, 10.13.6, 17G65
8 GB
)");
}

TEST_F(ZDSystemDeviceTest, TheMacBookProOf2018) {
  EXPECT_EQ(inventory("MacBookPro15,1"), R"(
MacBook Pro 15-inch 2018
MacBookPro15,1, -, MacBook Pro 15-inch, 2018, family 2, 1680x1050, C02000000000, endianness 0
Intel Core i7-8850H 2.60GHz, GenuineIntel, family 1, architecture 0
1 package, 6 cores, 12 threads, E0 P0, 0 listed
2.6 GHz, 0.25 MiB, 9 MiB
Intel UHD Graphics 630, -, -, -, 0 cores
AMD Radeon Pro 560X, AMD, dedicated, -, -, 0 cores
97 cycles, 6925/7336, 94 %
Untitled 1, APPLE SSD AP0512M Media, 500277792768
Mojave, 10.14.4, 18E226
16 GB
)");
}

TEST_F(ZDSystemDeviceTest, TheMacMiniOf2018) {
  EXPECT_EQ(inventory("Macmini8,1"), R"(
Mac mini 2018
Macmini8,1, -, Mac mini, 2018, family 7, 1680x1050, C02000000000, endianness 0
Intel Core i7-8700B 3.20GHz, GenuineIntel, family 1, architecture 0
1 package, 6 cores, 12 threads, E0 P0, 0 listed
3.2 GHz, 0.25 MiB, 12 MiB
Intel UHD Graphics 630, -, -, -, 0 cores
0 cycles, 0/0, 0 %
Untitled 1, APPLE SSD AP0512M Media, 500277792768
Mojave, 10.14.4, 18E226
32 GB
)");
}

TEST_F(ZDSystemDeviceTest, TheMacMiniM1) {
  EXPECT_EQ(inventory("Macmini9,1"), R"(
Mac mini M1 2020
Macmini9,1, Z12N0004VLL/A, Mac mini (M1), 2020, family 7, 1512x982, C02000000000, endianness 0
Apple M1, GenuineIntel, family 2, architecture 0
1 package, 8 cores, 8 threads, E4 P4, 8 listed
-1e-09 GHz, 4 MiB, -9.53674e-07 MiB
Apple M1, Apple M1, sppci_vendor_Apple, -, 8 cores
0 cycles, 0/0, 0 %
Untitled 1, APPLE SSD AP0512Q Media, 500277792768
Monterey, 12.6.1, 21G217
16 GB
)");
}

TEST_F(ZDSystemDeviceTest, TheIMacOf2019) {
  EXPECT_EQ(inventory("iMac19,1"), R"(
iMac 27-inch 2019
iMac19,1, -, iMac 27-inch, 2019, family 4, 1680x1050, C02000000000, endianness 0
Intel Core i9-9900K 3.60GHz, GenuineIntel, family 1, architecture 0
1 package, 8 cores, 16 threads, E0 P0, 0 listed
3.6 GHz, 0.25 MiB, 16 MiB
Intel UHD Graphics 630, -, -, -, 0 cores
Radeon Pro 580X, Radeon, dedicated, -, -, 0 cores
0 cycles, 0/0, 0 %
Untitled 1, APPLE SSD SM1024L Media, 500277792768
Mojave, 10.14.6, 18G103
32 GB
)");
}

TEST_F(ZDSystemDeviceTest, TheMacMiniM1HasFourEfficiencyAndFourPerformanceCores) {
  const auto platform = testing::recordedPlatform(testing::recordedMachine("Macmini9,1"));
  std::vector<CPUCoreInfo> expected;
  expected.reserve(8);
  for (int core = 0; core < 8; ++core) {
    expected.push_back({core, "cpu" + std::to_string(core), core < 4 ? 1 : 2});
  }
  EXPECT_EQ(ZDSystemDevice(*platform).cpuInfo().coreList, expected);
}

TEST(ZDSystemDevice, TheComputerOfTheTestHasNothingThatOnlyAMacHas) {
  const auto platform = Platform::live();
  ::testing::internal::CaptureStderr();
  const ZDSystemDevice device(*platform);
  const std::string logged = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(logged.find("system_profiler"), std::string::npos) << logged;
  EXPECT_EQ(device.cpuInfo().eCoreCount, 0U);
  EXPECT_EQ(device.cpuInfo().pCoreCount, 0U);
  EXPECT_EQ(device.osInfo().name(), platform->systemFacts().osVersionText());
  EXPECT_EQ(device.modelInfo().serial, std::nullopt);
}

}  // namespace
}  // namespace kelvora
