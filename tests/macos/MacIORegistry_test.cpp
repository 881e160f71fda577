#include "platforms/macos/hardware/MacIORegistry.h"

#include <functional>

#include "KelvoraCore/Platform.h"
#include "KelvoraCore/Sensor.h"

#include "platforms/recorded/RecordedRegistry.h"
#include "ports/Ports.h"
#include "sysinfo/BatteryQuery.h"
#include "sysinfo/GraphicsQuery.h"
#include "sysinfo/ProcessorQuery.h"
#include "tests/macos/frameworks/HardwareTest.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing::mac {
namespace {

using platform::MacIORegistry;
using platform::RecordedRegistry;
using platform::RecordedRegistryEntry;
using platform::RegistryEntry;

using Calls = std::vector<std::string>;
using Services = RecordedRegistry::Services;

Calls matching(const std::string& serviceClass) {
  return {"IOServiceMatching(" + serviceClass + ")",
          R"(IOServiceGetMatchingServices(0, {"IOProviderClass": ")" + serviceClass + R"("}))"};
}

Calls operator+(Calls calls, const Calls& more) {
  calls.insert(calls.end(), more.begin(), more.end());
  return calls;
}

class MacIORegistryTest : public HardwareTest {
 protected:
  static void bootWith(Services services) {
    platform::RecordedMachine machine;
    machine.registry = std::move(services);
    boot(machine);
  }
  // Runs `query` with each of its calls of IOKit and Core Foundation failing in turn, once and from
  // then on: `check` sees each answer, and nothing stays open.
  template <typename Answer>
  void failEachCall(const std::function<Answer()>& query,
                    const std::function<void(const std::string&, const Answer&)>& check) {
    for (const char* function :
         {"IOServiceMatching", "IOServiceGetMatchingServices", "IOIteratorNext",
          "IORegistryEntryGetName", "IORegistryEntryCreateCFProperties",
          "IORegistryEntryCreateCFProperty", "IORegistryEntryGetChildIterator",
          "CFStringCreateWithBytes"}) {
      const int before = ledger.callCount(function);
      query();
      const int calls = ledger.callCount(function) - before;
      for (int number = 1; number <= calls; ++number) {
        const std::string name = function + (" " + std::to_string(number));
        ledger.failCall(function, number);
        check(name, query());
        ledger.failCallsFrom(function, number);
        check(name + " and later", query());
        ledger.failNothing();
        EXPECT_TRUE(ledger.open().empty()) << name;
      }
    }
  }

  MacIORegistry registry;
};

TEST_F(MacIORegistryTest, EachOperationIsOneCallWithTheKernelsArguments) {
  bootWith({{"A", {"first", {{"count", 3}}, {{"child", {}, {}}}}}});
  const auto services = registry.matchingServices("A");
  const Calls walk = {"IOIteratorNext(services of A)", "IOIteratorNext(services of A)",
                      "IOObjectRelease(services of A)"};
  EXPECT_EQ(takeCalls(), matching("A") + walk);
  const auto& first = *services->front();
  first.name();
  EXPECT_EQ(takeCalls(), Calls{"IORegistryEntryGetName(first)"});
  first.properties();
  EXPECT_EQ(takeCalls(), Calls{"IORegistryEntryCreateCFProperties(first, 0)"});
  first.property("count");
  EXPECT_EQ(takeCalls(), Calls{"IORegistryEntryCreateCFProperty(first, count, 0)"});
  first.children("IOService");
  EXPECT_EQ(takeCalls(),
            (Calls{"IORegistryEntryGetChildIterator(first, IOService)",
                   "IOIteratorNext(children of first)", "IOIteratorNext(children of first)",
                   "IOObjectRelease(children of first)", "IOObjectRelease(child)"}));
}

TEST_F(MacIORegistryTest, ANameThatIsNotUTF8IsReadable) {
  bootWith({{"A", {"GFX\xff", {}, {}}}});
  EXPECT_EQ(registry.matchingServices("A")->front()->name(), "GFX\uFFFD");
}

TEST_F(MacIORegistryTest, EachFailedCallReturnsNoneOrAnEmptyList) {
  bootWith({{"A", {"first", {{"count", 3}}, {{"child", {}, {}}}}}});
  for (const char* function : {"IOServiceMatching", "IOServiceGetMatchingServices"}) {
    ledger.failCall(function);
    EXPECT_FALSE(registry.matchingServices("A").has_value()) << function;
  }
  ledger.failCall("IOIteratorNext");
  EXPECT_TRUE(registry.matchingServices("A")->empty());
  const auto services = registry.matchingServices("A");
  const auto& first = *services->front();
  ledger.failCall("IORegistryEntryGetName");
  EXPECT_FALSE(first.name().has_value());
  ledger.failCall("IORegistryEntryCreateCFProperties");
  EXPECT_FALSE(first.properties().has_value());
  ledger.failCall("IORegistryEntryCreateCFProperty");
  EXPECT_FALSE(first.property("count").has_value());
  ledger.failCall("CFStringCreateWithBytes");
  EXPECT_FALSE(first.property("count").has_value());
  ledger.failCall("IORegistryEntryGetChildIterator");
  EXPECT_TRUE(first.children("IOService").empty());
  EXPECT_EQ(first.children("IOService").size(), 1U);
}

Services battery() {
  return {{"AppleSmartBattery", entry("battery", {{"CycleCount", 412},
                                                  {"MaxCapacity", 4500},
                                                  {"AppleRawMaxCapacity", 4400},
                                                  {"DesignCapacity", 5000}})},
          {"AppleSmartBattery", entry("another", {{"CycleCount", 1}})}};
}

TEST_F(MacIORegistryTest, TheBatteryIsReadByThreePropertiesOfTheFirstService) {
  bootWith(battery());
  const auto read = [&](const std::string& capacity) {
    return matching("AppleSmartBattery") +
           Calls{"IOIteratorNext(services of AppleSmartBattery)",
                 "IOIteratorNext(services of AppleSmartBattery)",
                 "IOIteratorNext(services of AppleSmartBattery)",
                 "IOObjectRelease(services of AppleSmartBattery)",
                 "IORegistryEntryCreateCFProperty(battery, CycleCount, 0)",
                 "IORegistryEntryCreateCFProperty(battery, " + capacity + ", 0)",
                 "IORegistryEntryCreateCFProperty(battery, DesignCapacity, 0)",
                 "IOObjectRelease(battery)",
                 "IOObjectRelease(another)"};
  };
  const auto intel = queryBattery(registry, SensorPlatformIntel);
  EXPECT_EQ(takeCalls(), read("MaxCapacity"));
  EXPECT_EQ(intel.cycleCount, 412);
  EXPECT_EQ(intel.maxCapacity, 4500);
  const auto silicon = queryBattery(registry, 0);
  EXPECT_EQ(takeCalls(), read("AppleRawMaxCapacity"));
  EXPECT_EQ(silicon.maxCapacity, 4400);
}

TEST_F(MacIORegistryTest, EachFailedCallOfTheBatteryQueryGivesZero) {
  auto services = battery();
  services.pop_back();
  bootWith(services);
  failEachCall<ZDBatteryInfo>(
      [&] { return queryBattery(registry, SensorPlatformIntel); },
      [](const std::string& name, const ZDBatteryInfo& info) {
        const std::array numbers{info.cycleCount, info.maxCapacity, info.designedCapacity};
        const std::array full{std::int64_t{412}, std::int64_t{4500}, std::int64_t{5000}};
        bool anyIsZero = false;
        for (std::size_t i = 0; i < full.size(); ++i) {
          EXPECT_TRUE(numbers[i] == 0 || numbers[i] == full[i]) << name;
          anyIsZero = anyIsZero || numbers[i] == 0;
        }
        // The end of the list that fails is the end all the same.
        EXPECT_EQ(anyIsZero, !name.starts_with("IOIteratorNext 2")) << name;
      });
}

Services coresOfThisMac() {
  return {{"AppleARMPE",
           {"Arm",
            {},
            {entry("cpus", {{"e-core-count", data(std::string_view("\4\0\0\0", 4))},
                            {"p-core-count", data(std::string_view("\2\0\0\0", 4))}}),
             entry("cpu0", {{"cluster-type", data("E")},
                            {"cpu-id", data(std::string_view("\0\0\0\0", 4))}}),
             entry("cpu1", {{"cluster-type", data("P")},
                            {"cpu-id", data(std::string_view("\1\0\0\0", 4))}})}}}};
}

TEST_F(MacIORegistryTest, TheCoresAreReadByNameAndPropertiesOfEachChild) {
  bootWith(coresOfThisMac());
  const auto cores = queryCores(registry);
  EXPECT_EQ(cores->coreList, (std::vector<CPUCoreInfo>{{0, "cpu0", CPUCoreTypeEfficiency},
                                                       {1, "cpu1", CPUCoreTypePerformance}}));
  EXPECT_EQ(cores->eCores, 4);
  EXPECT_EQ(cores->pCores, 2);
  Calls expected = matching("AppleARMPE") + Calls{"IOIteratorNext(services of AppleARMPE)",
                                                  "IOIteratorNext(services of AppleARMPE)",
                                                  "IOObjectRelease(services of AppleARMPE)",
                                                  "IORegistryEntryGetChildIterator(Arm, IOService)",
                                                  "IOIteratorNext(children of Arm)",
                                                  "IOIteratorNext(children of Arm)",
                                                  "IOIteratorNext(children of Arm)",
                                                  "IOIteratorNext(children of Arm)",
                                                  "IOObjectRelease(children of Arm)"};
  for (const std::string node : {"cpus", "cpu0", "cpu1"}) {
    expected.push_back("IORegistryEntryGetName(" + node + ")");
    expected.push_back("IORegistryEntryCreateCFProperties(" + node + ", 0)");
  }
  for (const std::string node : {"cpus", "cpu0", "cpu1", "Arm"}) {
    expected.push_back("IOObjectRelease(" + node + ")");
  }
  EXPECT_EQ(takeCalls(), expected);
}

TEST_F(MacIORegistryTest, EachFailedCallOfTheCoreQueryLeavesOutItsNode) {
  bootWith(coresOfThisMac());
  failEachCall<std::optional<CPUCoresInfo>>(
      [&] { return queryCores(registry); },
      [](const std::string& name, const std::optional<CPUCoresInfo>& cores) {
        const bool queryFails = name.starts_with("IOService");
        EXPECT_EQ(cores.has_value(), !queryFails) << name;
        if (!cores) {
          return;
        }
        const bool isWhole = cores->coreList.size() == 2 && cores->eCores && cores->pCores;
        // The second and the sixth call of IOIteratorNext find the ends of the lists.
        const bool isEnd = name == "IOIteratorNext 2" || name.starts_with("IOIteratorNext 6");
        EXPECT_EQ(isWhole, isEnd) << name;
      });
}

class GraphicsQueryTest : public MacIORegistryTest {
 protected:
  using Infos = std::optional<std::vector<ZDGPUInfo>>;

  GraphicsQueryTest() {
    bootWith({{"IOPCIDevice", entry("GFX0", {{"model", data("AMD Radeon Pro 555X")}})},
              {"IOPCIDevice", entry("ETH0", {{"vendor", data("x")}})},
              {"IOPCIDevice", entry("IGPU", {{"model", data("Intel UHD Graphics 630")}})}});
  }
  // Of an Intel Mac, or of one of an unknown family.
  static Infos query(std::uint64_t family = SensorPlatformIntel) {
    platform::Ports ports;
    ports.registry = std::make_unique<MacIORegistry>();
    Platform mac({"This Mac", true, Architecture::kIntel}, std::move(ports));
    return queryGraphics(mac, family);
  }
};

TEST_F(GraphicsQueryTest, ThePropertiesOfEachPCIDeviceAreReadInOrder) {
  Calls expected = matching("IOPCIDevice") + Calls{"IOIteratorNext(services of IOPCIDevice)",
                                                   "IOIteratorNext(services of IOPCIDevice)",
                                                   "IOIteratorNext(services of IOPCIDevice)",
                                                   "IOIteratorNext(services of IOPCIDevice)",
                                                   "IOObjectRelease(services of IOPCIDevice)"};
  for (const std::string device : {"GFX0", "ETH0", "IGPU"}) {
    expected.push_back("IORegistryEntryCreateCFProperties(" + device + ", 0)");
  }
  for (const std::string device : {"GFX0", "ETH0", "IGPU"}) {
    expected.push_back("IOObjectRelease(" + device + ")");
  }
  for (const std::uint64_t family : {std::uint64_t{SensorPlatformIntel}, std::uint64_t{0}}) {
    const Infos infos = query(family);
    EXPECT_EQ(takeCalls(), expected);
    ASSERT_EQ(infos->size(), 2U);
    EXPECT_EQ(infos->front().modelName, "AMD Radeon Pro 555X");
    EXPECT_EQ(infos->front().shortModelName, "AMD");
    EXPECT_TRUE(infos->front().isDedicated);
    EXPECT_EQ(infos->back().modelName, "Intel UHD Graphics 630");
    EXPECT_FALSE(infos->back().isDedicated);
  }
}

TEST_F(GraphicsQueryTest, EachFailedCallLeavesOutItsDevice) {
  failEachCall<Infos>([] { return query(); },
                      [](const std::string& name, const Infos& infos) {
                        ASSERT_TRUE(infos.has_value()) << name;
                        const bool isNeeded = !name.starts_with("IOIteratorNext 4") &&
                                              name != "IORegistryEntryCreateCFProperties 2";
                        EXPECT_EQ(infos->size() < 2, isNeeded) << name;
                      });
}

class RegistryOfRecordedMac : public HardwareTest,
                              public ::testing::WithParamInterface<const char*> {};

void expectSame(const RegistryEntry& actual, const RegistryEntry& expected) {
  EXPECT_EQ(actual.name(), expected.name());
  const auto properties = expected.properties();
  EXPECT_EQ(actual.properties(), properties);
  for (const auto& [key, value] : *properties) {
    EXPECT_EQ(actual.property(key), value) << key;
  }
  const auto children = actual.children("IOService");
  const auto expectedChildren = expected.children("IOService");
  ASSERT_EQ(children.size(), expectedChildren.size());
  for (std::size_t i = 0; i < children.size(); ++i) {
    expectSame(*children[i], *expectedChildren[i]);
  }
}

TEST_P(RegistryOfRecordedMac, EveryEntryIsThatOfTheRecordedRegistry) {
  const auto machine = recordedMachine(GetParam());
  boot(machine);
  RecordedRegistry recorded(machine.registry);
  MacIORegistry registry;
  ASSERT_TRUE(machine.registry.has_value());
  EXPECT_FALSE(machine.registry->empty());
  for (const auto& service : *machine.registry) {
    const auto services = registry.matchingServices(service.first);
    const auto expected = recorded.matchingServices(service.first);
    ASSERT_EQ(services->size(), expected->size());
    for (std::size_t i = 0; i < services->size(); ++i) {
      expectSame(*(*services)[i], *(*expected)[i]);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Recorded, RegistryOfRecordedMac, ::testing::ValuesIn(kRecordedMachines),
                         nameOfMachine);

}  // namespace
}  // namespace kelvora::testing::mac
