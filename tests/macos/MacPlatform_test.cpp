// The whole platform of a Mac: what is above the ports finds on it what it finds on a recorded one.
#include <csignal>
#include <thread>

#include <unistd.h>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/KVSettingsFile.h"
#include "KelvoraCore/NotificationObserver.h"
#include "KelvoraCore/Platform.h"
#include "KelvoraCore/StopSignal.h"
#include "KelvoraCore/ZDSystemDevice.h"

#include "platforms/macos/system/MacFiles.h"
#include "platforms/recorded/RecordedSystem.h"
#include "ports/Ports.h"
#include "tests/macos/frameworks/HardwareTest.h"
#include "tests/macos/frameworks/SystemTest.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing::mac {
namespace {

using Clock = std::chrono::steady_clock;

constexpr char kGroup[] = "group.com.kelvora";

class MacPlatformTest : public SystemTest {
 protected:
  MacPlatformTest() { boot({}); }
  // Only the programs that a Mac would start are played from the recording.
  void boot(const platform::RecordedMachine& machine) {
    Kernel::shared().boot(machine);
    HIDSystem::shared().plugIn(machine.hid);
    Host::shared().boot(machine);
    mac = Platform::live();
    mac->ports().childProcesses =
        std::make_unique<platform::RecordedChildProcesses>(machine.commands);
  }
  void TearDown() override {
    Dispatch::shared().drainMainQueue();
    mac.reset();
    SystemTest::TearDown();
  }

  std::unique_ptr<Platform> mac;
};

TEST_F(MacPlatformTest, ALiveMacHasEveryPort) {
  const platform::Ports& ports = mac->ports();
  EXPECT_TRUE(ports.smc && ports.hid && ports.registry && ports.systemControls &&
              ports.hostStatistics && ports.systemFacts && ports.childProcesses &&
              ports.workspace && ports.authorization && ports.files && ports.mainBundle &&
              ports.userDefaults && ports.mainQueue && ports.notificationCentres);
  EXPECT_TRUE(mac->isLive());
  EXPECT_EQ(mac->title(), "This computer");
}

TEST_F(MacPlatformTest, ASettingIsAnnouncedToThisProgramAndKeptForTheOthers) {
  KVSettings settings(*mac);
  std::vector<Notification> heard;
  const NotificationObserver observer(
      KVDataManagerSettingsDidChangeNotification,
      [&](const Notification& notification) { heard.push_back(notification); }, *mac);
  EXPECT_TRUE(settings.setShowHIDSensors(true));
  EXPECT_TRUE(heard.empty());
  Dispatch::shared().drainMainQueue();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].userInfo, (PropertyListValue::Dictionary{{"KVShowHIDSensorsKey", true}}));
  EXPECT_EQ(Preferences::shared().onDisk(kGroup).at("KVShowHIDSensorsKey"),
            PropertyListValue(true));
  Preferences::shared().setByOther(kGroup, "KVShowHIDSensorsKey", false);
  EXPECT_FALSE(settings.showHIDSensors());
}

TEST_F(MacPlatformTest, ASettingThatCannotBeWrittenIsNotAnnounced) {
  KVSettings settings(*mac);
  int heard = 0;
  const NotificationObserver observer(
      KVDataManagerSettingsDidChangeNotification, [&](const Notification&) { ++heard; }, *mac);
  ledger.failCallsFrom("CFPreferencesAppSynchronize");
  ::testing::internal::CaptureStderr();
  EXPECT_FALSE(settings.setShowHIDSensors(true));
  ::testing::internal::GetCapturedStderr();
  ledger.failNothing();
  Dispatch::shared().drainMainQueue();
  EXPECT_EQ(heard, 0);
  EXPECT_FALSE(settings.showHIDSensors());
}

class MacPlatformOfRecordedMac : public MacPlatformTest,
                                 public ::testing::WithParamInterface<const char*> {};

TEST_P(MacPlatformOfRecordedMac, TheInventoryIsThatOfTheRecordedPlatform) {
  const auto machine = recordedMachine(GetParam());
  boot(machine);
  const auto recorded = recordedPlatform(machine);
  const ZDSystemDevice actual(*mac);
  const ZDSystemDevice expected(*recorded);
  EXPECT_EQ(actual.hostName(), expected.hostName());
  EXPECT_EQ(actual.modelInfo().modelId, expected.modelInfo().modelId);
  EXPECT_EQ(actual.modelInfo().name, expected.modelInfo().name);
  EXPECT_EQ(actual.modelInfo().serial, expected.modelInfo().serial);
  EXPECT_EQ(actual.modelInfo().modelNumber, expected.modelInfo().modelNumber);
  EXPECT_EQ(actual.modelInfo().displayResolution, expected.modelInfo().displayResolution);
  EXPECT_EQ(actual.cpuInfo().brand, expected.cpuInfo().brand);
  EXPECT_EQ(actual.cpuInfo().vendor, expected.cpuInfo().vendor);
  EXPECT_EQ(actual.cpuInfo().cpuCount, expected.cpuInfo().cpuCount);
  EXPECT_EQ(actual.cpuInfo().coreCount, expected.cpuInfo().coreCount);
  EXPECT_EQ(actual.cpuInfo().threadCount, expected.cpuInfo().threadCount);
  EXPECT_EQ(actual.cpuInfo().coreList, expected.cpuInfo().coreList);
  EXPECT_EQ(actual.cpuInfo().frequency, expected.cpuInfo().frequency);
  EXPECT_EQ(actual.cpuInfo().l2Cache, expected.cpuInfo().l2Cache);
  EXPECT_EQ(actual.cpuInfo().l3Cache, expected.cpuInfo().l3Cache);
  EXPECT_EQ(actual.cpuInfo().architecture, expected.cpuInfo().architecture);
  EXPECT_EQ(actual.cpuInfo().platform, expected.cpuInfo().platform);
  EXPECT_EQ(actual.gpuInfos(), expected.gpuInfos());
  EXPECT_EQ(actual.batteryInfo().health(), expected.batteryInfo().health());
  EXPECT_EQ(actual.batteryInfo().cycleCount, expected.batteryInfo().cycleCount);
  EXPECT_EQ(actual.osInfo().version, expected.osInfo().version);
  EXPECT_EQ(actual.osInfo().build, expected.osInfo().build);
  EXPECT_EQ(actual.memoryInfo().physicalMemory, expected.memoryInfo().physicalMemory);
  ASSERT_EQ(actual.diskInfo().has_value(), expected.diskInfo().has_value());
  if (expected.diskInfo()) {
    EXPECT_EQ(actual.diskInfo()->name, expected.diskInfo()->name);
    EXPECT_EQ(actual.diskInfo()->model, expected.diskInfo()->model);
    EXPECT_EQ(actual.diskInfo()->size, expected.diskInfo()->size);
  }
  EXPECT_TRUE(ledger.open().empty());
}

TEST_P(MacPlatformOfRecordedMac, EverySettingIsWhatItIsOnTheRecordedPlatform) {
  boot(recordedMachine(GetParam()));
  Cocoa::shared().documents = "/Users/anna/Documents";
  const auto recorded = recordedPlatform(recordedMachine(GetParam()));
  recorded->ports().files = std::make_unique<platform::MacFiles>();
  KVSettings actual(*mac);
  KVSettings expected(*recorded);
  for (const KVSetting& setting : allSettings()) {
    EXPECT_EQ(actual.value(setting), expected.value(setting)) << setting.key;
    EXPECT_EQ(actual.isStored(setting), expected.isStored(setting)) << setting.key;
    if (const auto value = expected.value(setting)) {
      EXPECT_TRUE(actual.setValue(setting, *value));
      EXPECT_TRUE(expected.setValue(setting, *value));
      EXPECT_EQ(actual.value(setting), value) << setting.key;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Recorded, MacPlatformOfRecordedMac, ::testing::ValuesIn(kRecordedMachines),
                         nameOfMachine);

class MacMainLoopTest : public SystemTest {
 protected:
  MacMainLoopTest() { Platform::install(Platform::live()); }
};

TEST_F(MacMainLoopTest, WorkRunsUntilTheDeadlineAndWhatItThrowsLeavesTheLoop) {
  int ran = 0;
  KVMainQueue::async([&] { ++ran; });
  KVMainQueue::runUntil(Clock::time_point::min());
  EXPECT_EQ(ran, 1);
  EXPECT_EQ(KVMainQueue::descriptor(), -1);
  KVMainQueue::async([] { throw 1; });
  KVMainQueue::async([&] { ++ran; });
  EXPECT_THROW(KVMainQueue::runUntil(Clock::time_point::max()), int);
  EXPECT_EQ(ran, 1);
  KVMainQueue::runUntil(Clock::now());
  EXPECT_EQ(ran, 2);
}

TEST_F(MacMainLoopTest, ATrialFindsWhetherTheSystemStoresSettings) {
  EXPECT_FALSE(settingsFile()) << "no file of the library's own";
  EXPECT_TRUE(canStoreSettings());
  EXPECT_TRUE(
      Platform::current().userDefaults().suite(kApplicationGroupIdentifier)->objects().empty());
  ledger.failCallsFrom("CFPreferencesAppSynchronize");
  EXPECT_FALSE(canStoreSettings());
}

TEST_F(MacMainLoopTest, AProgramWithoutALoopSendsItsNoticesBeforeItEnds) {
  {
    KVSettings settings;
    settings.setTempUnitCelsius(false);
  }
  const auto posts = [this] { return ledger.callCount("CFNotificationCenterPostNotification"); };
  EXPECT_EQ(posts(), 0);
  EXPECT_GT(KVMainQueue::runPending(), 0);
  EXPECT_EQ(posts(), 1);
}

TEST_F(MacMainLoopTest, ASignalStopsTheLoopWithoutADescriptorOfTheQueue) {
  StopSignal stop;
  int ran = 0;
  KVMainQueue::async([&] {
    ++ran;
    raise(SIGTERM);
  });
  stop.run();
  EXPECT_EQ(ran, 1);
  KVMainQueue::async([&] { ++ran; });
  EXPECT_FALSE(stop.runUntil(Clock::time_point::max()));
  EXPECT_EQ(ran, 1) << "what is queued then stays queued";
  KVMainQueue::runUntil(Clock::now());
  EXPECT_EQ(ran, 2);
}

TEST_F(MacMainLoopTest, ASignalEndsAWaitThatHasNoWork) {
  StopSignal stop;
  std::thread other([] { kill(getpid(), SIGINT); });
  EXPECT_FALSE(stop.runUntil(Clock::time_point::max()));
  other.join();
}

}  // namespace
}  // namespace kelvora::testing::mac
