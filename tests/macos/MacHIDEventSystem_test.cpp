#include "platforms/macos/hardware/MacHIDEventSystem.h"

#include <array>
#include <cstring>

#include <dlfcn.h>

#include "KelvoraCore/HIDWrapper.h"
#include "KelvoraCore/Platform.h"

#include "platforms/recorded/RecordedHID.h"
#include "ports/Ports.h"
#include "tests/macos/frameworks/HardwareTest.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SmallMac.h"

namespace kelvora::testing::mac {
namespace {

using platform::HIDFunctions;
using platform::MacHIDEventSystem;
using platform::RecordedHIDService;

using Calls = std::vector<std::string>;

constexpr std::array kFunctionNames{
    "IOHIDEventSystemClientCreate",       "IOHIDEventSystemClientSetMatching",
    "IOHIDEventSystemClientCopyServices", "IOHIDServiceClientCopyProperty",
    "IOHIDServiceClientCopyEvent",        "IOHIDEventGetFloatValue"};

class MacHIDTest : public HardwareTest {
 protected:
  static void plugIn(std::vector<RecordedHIDService> services) {
    HIDSystem::shared().plugIn(std::move(services));
  }
  static std::unique_ptr<Platform> macWith(const HIDFunctions& functions) {
    platform::Ports ports;
    ports.hid = std::make_unique<MacHIDEventSystem>(functions);
    return std::make_unique<Platform>(
        PlatformIdentity{"This Mac", true, Architecture::kAppleSilicon}, std::move(ports));
  }
  std::optional<HIDReadings> temperatures() const {
    return AppleSiliconSensors(65280, 5, 15, *mac);
  }

  MacHIDEventSystem hid;
  std::unique_ptr<Platform> mac = macWith(HIDFunctions::ofSystem());
};

TEST_F(MacHIDTest, APropertyThatIsNotTextHasNoValue) {
  plugIn({hidTemperature("B", 44.28)});
  const auto client = hid.createClient();
  const auto services = client->copyServices();
  EXPECT_EQ(services->front()->copyProperty("PrimaryUsage"), std::nullopt);
}

TEST_F(MacHIDTest, ReturnsNoneWhenTheSystemReturnsAnEmptyListOrNoList) {
  plugIn({hidTemperature("B", 44.28)});
  for (const bool listsEmptyArrays : {false, true}) {
    HIDSystem::shared().listsEmptyArrays = listsEmptyArrays;
    const auto client = hid.createClient();
    client->setMatching({{"PrimaryUsagePage", 65288}, {"PrimaryUsage", 5}});
    EXPECT_FALSE(client->copyServices().has_value());
  }
  HIDSystem::shared().listsEmptyArrays = false;
}

TEST_F(MacHIDTest, AReadingMatchesByTwoNumbersAndAsksEachServiceForNameEventAndFirstField) {
  plugIn({hidTemperature("A", 40), {65280, 5, "B", {}}});
  EXPECT_EQ(temperatures(), (HIDReadings{{"A", 40}}));
  EXPECT_EQ(
      takeCalls(),
      (Calls{"IOHIDEventSystemClientCreate()",
             R"(IOHIDEventSystemClientSetMatching({"PrimaryUsage": 5, )"
             R"("PrimaryUsagePage": 65280}))",
             "IOHIDEventSystemClientCopyServices()", "IOHIDServiceClientCopyProperty(A, Product)",
             "IOHIDServiceClientCopyEvent(A, 15, 0, 0)", "IOHIDEventGetFloatValue(983040)",
             "IOHIDServiceClientCopyProperty(B, Product)",
             "IOHIDServiceClientCopyEvent(B, 15, 0, 0)"}));
  EXPECT_TRUE(ledger.open().empty());
  AppleSiliconSensors(65288, 3, 25, *mac);
  EXPECT_EQ(takeCalls().at(1), R"(IOHIDEventSystemClientSetMatching({"PrimaryUsage": 3, )"
                               R"("PrimaryUsagePage": 65288}))");
}

TEST_F(MacHIDTest, ReturnsNoneWhenAnyCallOfTheEnumerationFails) {
  plugIn({hidTemperature("A", 40)});
  for (const char* function : {"IOHIDEventSystemClientCreate", "IOHIDEventSystemClientCopyServices",
                               "CFDictionaryCreateMutable", "CFNumberCreate"}) {
    ledger.failCall(function);
    EXPECT_EQ(temperatures(), std::nullopt) << function;
    EXPECT_TRUE(ledger.open().empty()) << function;
    EXPECT_EQ(temperatures(), (HIDReadings{{"A", 40}})) << function;
  }
}

TEST_F(MacHIDTest, EachFailedCallOfAServiceLeavesItOut) {
  plugIn({hidTemperature("A", 40), hidTemperature("B", 50)});
  for (const char* function : {"IOHIDServiceClientCopyProperty", "IOHIDServiceClientCopyEvent"}) {
    ledger.failCall(function, 1);
    EXPECT_EQ(temperatures(), (HIDReadings{{"B", 50}})) << function;
    ledger.failCall(function, 2);
    EXPECT_EQ(temperatures(), (HIDReadings{{"A", 40}})) << function;
    ledger.failCallsFrom(function);
    EXPECT_EQ(temperatures(), HIDReadings{}) << function;
    ledger.failNothing();
    EXPECT_TRUE(ledger.open().empty()) << function;
  }
  // The first two texts are the keys of the matching dictionary.
  ledger.failCall("CFStringCreateWithBytes", 3);
  EXPECT_EQ(temperatures(), (HIDReadings{{"B", 50}}));
}

TEST_F(MacHIDTest, AnyMissingFunctionReadsEmptyWithoutACall) {
  plugIn({hidTemperature("A", 40)});
  static const char* missing = nullptr;
  for (const char* name : kFunctionNames) {
    missing = name;
    const HIDFunctions functions([](const char* wanted) {
      return std::strcmp(wanted, missing) == 0 ? nullptr : dlsym(RTLD_DEFAULT, wanted);
    });
    const auto without = macWith(functions);
    EXPECT_EQ(HIDWrapper(*without).missingFunctions(), std::vector<std::string>{missing});
    EXPECT_EQ(AppleSiliconSensors(65280, 5, 15, *without), std::nullopt);
    EXPECT_TRUE(HIDWrapper(*without).getAllSensors().empty());
    const auto client = without->hid().createClient();
    client->setMatching({{"PrimaryUsage", 5}});
    EXPECT_FALSE(client->copyServices().has_value());
  }
  EXPECT_TRUE(takeCalls().empty());
}

TEST_F(MacHIDTest, TheFunctionsAreLookedUpOnceByTheirNames) {
  static std::vector<std::string> names;
  const HIDFunctions functions([](const char* name) {
    names.emplace_back(name);
    return dlsym(RTLD_DEFAULT, name);
  });
  EXPECT_EQ(names, std::vector<std::string>(kFunctionNames.begin(), kFunctionNames.end()));
  EXPECT_TRUE(functions.areAllFound());
  EXPECT_TRUE(HIDFunctions::ofSystem().areAllFound());
  EXPECT_EQ(&HIDFunctions::ofSystem(), &HIDFunctions::ofSystem());
}

class HIDOfRecordedMac : public HardwareTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(HIDOfRecordedMac, EveryReadingIsThatOfTheRecordedEventSystem) {
  const auto machine = recordedMachine(GetParam());
  boot(machine);
  const auto platformWith = [](std::unique_ptr<platform::HIDEventSystem> hid) {
    platform::Ports ports;
    ports.hid = std::move(hid);
    return Platform({"", false, Architecture::kAppleSilicon}, std::move(ports));
  };
  Platform actual = platformWith(std::make_unique<MacHIDEventSystem>());
  Platform expected = platformWith(std::make_unique<platform::RecordedHID>(machine.hid));
  EXPECT_EQ(AppleSiliconSensors(65280, 5, 15, actual), AppleSiliconSensors(65280, 5, 15, expected));
  EXPECT_EQ(AppleSiliconSensors(65288, 3, 25, actual), AppleSiliconSensors(65288, 3, 25, expected));
}

INSTANTIATE_TEST_SUITE_P(Recorded, HIDOfRecordedMac, ::testing::ValuesIn(kRecordedMachines),
                         nameOfMachine);

}  // namespace
}  // namespace kelvora::testing::mac
