#include "KelvoraCore/KVFanLease.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platforms/linux/smc/LinuxSMC.h"
#include "tests/fans/LeaseFixture.h"
#include "tests/support/ForwardingPorts.h"

namespace kelvora::testing {
namespace {

using std::chrono::milliseconds;
using Writes = std::vector<std::string>;

// 3000 as a float, least significant byte first.
constexpr const char* kTarget = "00803b45";

class KVFanLeaseTest : public LeaseFixture {};

TEST_F(KVFanLeaseTest, TakesAFanAndHandsItBack) {
  const auto lease = newLease();
  EXPECT_EQ(lease->state(), KVFanLeaseState::kIdle);
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_EQ(lease->state(), KVFanLeaseState::kHeld);
  EXPECT_EQ(lease->fault(), "");
  EXPECT_EQ(writes(), (Writes{"F0Md 01", std::string("F0Tg ") + kTarget}));
  EXPECT_TRUE(isOnDisk());
  EXPECT_TRUE(lease->release());
  EXPECT_EQ(lease->state(), KVFanLeaseState::kEnded);
  EXPECT_EQ(lease->fault(), "");
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
}

TEST_F(KVFanLeaseTest, CanTakeAgainAtOnceAfterARelease) {
  const auto lease = newLease();
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(lease->take({{0, 3000}, {1, 2500}})) << lease->fault();
    ASSERT_TRUE(lease->release()) << lease->fault();
  }
  EXPECT_EQ(valueOf("F1Md"), "00");
}

TEST_F(KVFanLeaseTest, ChangesTheSpeedOfAFanThatItHas) {
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 2500}})) << lease->fault();
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_EQ(valueOf("F0Tg"), kTarget);
  EXPECT_FALSE(lease->take({{1, 3000}}));
  EXPECT_EQ(lease->fault(), "fan 1: this lease does not have it");
  EXPECT_EQ(lease->state(), KVFanLeaseState::kHeld);
}

TEST_F(KVFanLeaseTest, WithoutModesTheMinimumThatWasThereComesBack) {
  use(kWithMinimum);
  const std::string before = "21c0";  // 2160
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_EQ(writes(), Writes{"F0Mn 2ee0"});
  ASSERT_TRUE(lease->release());
  EXPECT_EQ(valueOf("F0Mn"), before);
}

TEST_F(KVFanLeaseTest, TheEndOfTheObjectReleases) {
  ASSERT_TRUE(newLease()->take({{0, 3000}}));
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_TRUE(soonOffTheDisk());
}

TEST_F(KVFanLeaseTest, ARenewedLeaseIsHeldLongerThanItsTimeOut) {
  const auto lease = newLease(kShort);
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  const auto end = std::chrono::steady_clock::now() + kShort + kShort / 2;
  while (std::chrono::steady_clock::now() < end) {
    ASSERT_EQ(lease->renew(), KVFanLeaseState::kHeld) << lease->fault();
    std::this_thread::sleep_for(milliseconds(20));
  }
  EXPECT_EQ(writes().size(), 2U);
}

struct Refusal {
  const char* name;
  std::vector<KVFanSpeed> speeds;
  const char* fault;
};

class KVFanLeaseRefuses : public LeaseFixture, public ::testing::WithParamInterface<Refusal> {};

TEST_P(KVFanLeaseRefuses, BeforeAnythingIsWritten) {
  const auto lease = newLease();
  EXPECT_FALSE(lease->take(GetParam().speeds));
  EXPECT_EQ(lease->fault(), GetParam().fault);
  EXPECT_EQ(lease->state(), KVFanLeaseState::kIdle);
  EXPECT_EQ(writes(), Writes{});
  EXPECT_FALSE(isOnDisk());
}

INSTANTIATE_TEST_SUITE_P(
    Speeds, KVFanLeaseRefuses,
    ::testing::Values(
        Refusal{"none", {}, "no fan to take"},
        Refusal{"noFan", {{2, 3000}}, "fan 2: the machine has no such fan"},
        Refusal{"noFanAtAll",
                {{UINT64_MAX, 3000}},
                "fan 18446744073709551615: the machine has no such fan"},
        Refusal{"twice", {{0, 3000}, {0, 3100}}, "fan 0: has two speeds"},
        Refusal{"tooSlow", {{0, 100}}, "fan 0: 100 is not within its limits, 2160 to 5927"},
        Refusal{"tooFast",
                {{1, 3000}, {0, 100'000}},
                "fan 0: 100000 is not within its limits, 2160 to 5927"}),
    [](const auto& each) { return each.param.name; });

TEST_F(KVFanLeaseTest, TheLimitsThemselvesAreSpeeds) {
  const auto lease = newLease();
  EXPECT_TRUE(lease->take({{0, 2160}})) << lease->fault();
  EXPECT_TRUE(lease->take({{0, 5927}})) << lease->fault();
  EXPECT_FALSE(lease->take({{0, 2159}}));
  EXPECT_FALSE(lease->take({{0, 5928}}));
  EXPECT_EQ(lease->state(), KVFanLeaseState::kHeld);
}

TEST_F(KVFanLeaseTest, AFanWithoutUsableLimitsIsNotTaken) {
  struct Limit {
    const char* key;
    float speed;
  };
  for (const Limit& limit : {Limit{"F0Mx", 0}, Limit{"F0Mx", 1000}, Limit{"F0Mn", -2}}) {
    platform::RecordedMachine machine = recordedMachine(kWithModes);
    for (platform::RecordedSMCKey& key : *machine.smcKeys) {
      if (key.key == SMCPackedKey(limit.key)) {
        std::memcpy(key.bytes.data(), &limit.speed, sizeof limit.speed);
      }
    }
    use(std::move(machine));
    const auto lease = newLease();
    EXPECT_FALSE(lease->take({{0, 3000}}));
    EXPECT_EQ(lease->fault(), "fan 0: its limits cannot be read") << limit.key << limit.speed;
  }
  EXPECT_EQ(writes(), Writes{});
}

// A model of 2018 and later without the key could be taken, and never handed back.
TEST_F(KVFanLeaseTest, AFanWhoseModeCannotBeReadIsNotTaken) {
  use("iMac19,1");
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 2000}}));
  EXPECT_EQ(lease->fault(), "fan 0: cannot be set on this Mac: its mode cannot be read");
  EXPECT_EQ(lease->state(), KVFanLeaseState::kIdle);
  EXPECT_EQ(writes(), Writes{});
}

// The privileged tool refuses to write the minimum of a fan with a mode.
TEST_F(KVFanLeaseTest, AFanThatIsSetByItsMinimumAndHasAModeIsNotTaken) {
  platform::RecordedMachine machine = recordedMachine(kWithMinimum);
  platform::RecordedSMCKey mode = machine.smcKeys->front();
  mode.key = SMCPackedKey("F0Md");
  mode.bytes = {std::byte{0}};
  machine.smcKeys->insert(machine.smcKeys->begin(), mode);
  use(std::move(machine));
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_EQ(lease->fault(),
            "fan 0: cannot be set on this Mac: it has a mode, so its minimum stays as it is");
  EXPECT_EQ(writes(), Writes{});
}

// A Mac that runs Linux, for a user who may not read the SMC's list. The driver has a file for the
// mode of every Mac.
class KVFanLeaseWithDriver : public KVFanLeaseTest {
 protected:
  KVFanLeaseWithDriver() {
    for (const auto& [file, content] : {std::pair{"key_count", "1\n"},
                                        {"fan1_input", "2000\n"},
                                        {"fan1_min", "2000\n"},
                                        {"fan1_max", "6000\n"},
                                        {"fan1_output", "2000\n"},
                                        {"fan1_manual", "0\n"}}) {
      folder.write(std::string("driver/") + file, content);
    }
    use(kWithMinimum);
    controller.reset();
    platform->ports().smc = std::make_unique<platform::LinuxSMC>(
        std::make_unique<platform::AppleSMCFiles>(folder.path("driver")));
    controller = std::make_unique<SensorController>(*platform);
  }
};

TEST_F(KVFanLeaseWithDriver, AFanOfAnOlderMacIsTakenByItsMinimum) {
  const auto lease = newLease();
  EXPECT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_TRUE(lease->release());
  EXPECT_EQ(writes().front(), "F0Mn 2ee0");
  EXPECT_EQ(valueOf("F0Mn"), "1f40");
}

// Its minimum before is not known, and the mode says nothing about it.
TEST_F(KVFanLeaseWithDriver, AnUnreadableLeaseOfAnOlderMacIsNotHandedBackByTheMode) {
  const std::string path = folder.write("group.com.kelvora/Fan0.plist", "x");
  const auto left = KVFanLeases::handBackLeftBehind(*platform);
  ASSERT_EQ(left.size(), 1U);
  EXPECT_TRUE(left[0].fault.starts_with(path + ": ")) << left[0].fault;
  EXPECT_EQ(writes(), Writes{});
  EXPECT_TRUE(isOnDisk());
  std::filesystem::remove(path);
}

TEST_F(KVFanLeaseTest, WithoutTheToolNothingIsTaken) {
  std::filesystem::remove(folder.path("Kelvora/Kelvora SMC"));
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_EQ(lease->fault(),
            "the privileged tool is not installed: " + folder.path("Kelvora/Kelvora SMC"));
  EXPECT_EQ(lease->state(), KVFanLeaseState::kIdle);
  installTool();
  EXPECT_TRUE(lease->take({{0, 3000}}));
  EXPECT_EQ(lease->fault(), "");
}

TEST_F(KVFanLeaseTest, WithoutAGuardianNothingIsWritten) {
  for (const std::string& guardian : {folder.path("missing"), std::string("/bin/true")}) {
    KVFanLease lease(*controller, {std::chrono::seconds(30), "Test Host", guardian});
    EXPECT_FALSE(lease.take({{0, 3000}}));
    EXPECT_NE(lease.fault().find(guardian), std::string::npos) << lease.fault();
    EXPECT_EQ(lease.state(), KVFanLeaseState::kEnded);
  }
  EXPECT_EQ(writes(), Writes{});
}

TEST_F(KVFanLeaseTest, ATimeOutOutOfRangeIsRefused) {
  for (const milliseconds timeout : {milliseconds(0), milliseconds(-1), milliseconds(86'400'001)}) {
    const auto lease = newLease(timeout);
    EXPECT_FALSE(lease->take({{0, 3000}}));
    EXPECT_EQ(lease->fault(), "the time-out of a lease is 1 ms to 24 hours");
    EXPECT_EQ(lease->state(), KVFanLeaseState::kIdle);
  }
  EXPECT_EQ(writes(), Writes{});
  EXPECT_TRUE(newLease(std::chrono::hours(24))->take({{0, 3000}}));
}

TEST_F(KVFanLeaseTest, AGuardianThatDoesNotAnswerLeavesTheFanAlone) {
  const std::string guardian = folder.write("silent", "#!/bin/sh\nwhile read line; do :; done\n");
  chmod(guardian.c_str(), 0755);
  KVFanLease lease(*controller, {milliseconds(100), "Test Host", guardian});
  EXPECT_FALSE(lease.take({{0, 3000}}));
  EXPECT_EQ(lease.fault(), "the guardian does not answer");
  EXPECT_EQ(writes(), Writes{});
}

TEST_F(KVFanLeaseTest, ASecondHolderLearnsWhichProgramHasTheFan) {
  const auto first = newLease();
  ASSERT_TRUE(first->take({{0, 3000}})) << first->fault();
  const auto second = newLease();
  EXPECT_FALSE(second->take({{1, 2500}, {0, 2500}}));
  EXPECT_EQ(second->fault(), "fan 0: held by Test Host (process " + std::to_string(getpid()) + ")");
  EXPECT_EQ(writes().size(), 2U);
  EXPECT_FALSE(isOnDisk(1));
  EXPECT_EQ(first->renew(), KVFanLeaseState::kHeld);
}

TEST_F(KVFanLeaseTest, OfAHostWithoutANameHasThatOfItsProgram) {
  KVFanLease lease(*controller, {std::chrono::seconds(30), "", KELVORA_TEST_GUARDIAN});
  ASSERT_TRUE(lease.take({{0, 3000}})) << lease.fault();
  const auto held = KVFanLeases::leasedFans(*platform);
  ASSERT_EQ(held.size(), 1U);
  EXPECT_EQ(held[0].program,
            std::filesystem::path(platform->mainBundle().executablePath()).filename());
}

TEST_F(KVFanLeaseTest, OfOneFanInTheFileOfAnotherIsNotUsed) {
  const std::string folderOfLeases = *KVUtils::groupContainerLocation(*platform);
  std::filesystem::create_directories(folderOfLeases);
  ASSERT_EQ(writeLease(*platform, {"Test Host", 1, {}, {1, {"F1Md", "00"}}, "", ""}), "");
  std::filesystem::rename(folderOfLeases + "/Fan1.plist", folderOfLeases + "/Fan0.plist");
  const LeaseReading reading = readLease(*platform, 0);
  EXPECT_FALSE(reading.record.has_value());
  EXPECT_EQ(reading.fault, folderOfLeases + "/Fan0.plist: is not the lease of a fan");
}

// Of the platform that a host has on a recorded Mac which the account has chosen.
TEST_F(KVFanLeaseTest, AGuardianOfAnyPathGuardsOnAChosenMac) {
  Platform::choose(KELVORA_MACHINES "/MacBookPro15,1.json");
  controller.reset();
  platform = Platform::chosen();
  controller = std::make_unique<SensorController>(*platform);
  const std::string guardian = folder.path("my guardian");
  std::filesystem::copy_file(KELVORA_TEST_GUARDIAN, guardian);
  KVFanLease lease(*controller, {std::chrono::seconds(30), "Test Host", guardian});
  EXPECT_TRUE(lease.take({{0, 3000}})) << lease.fault();
  EXPECT_EQ(processesOf(guardian).size(), 1U);
  EXPECT_TRUE(lease.release());
  EXPECT_TRUE(processesOf(guardian).empty());
}

// --- tools that fail

TEST_F(KVFanLeaseTest, ATakeThatFailsIsHandedBack) {
  failWrites("F0Tg", kTarget);
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_EQ(lease->fault(), "fan 0: F0Tg: the privileged tool ended with status 5");
  EXPECT_EQ(lease->state(), KVFanLeaseState::kEnded);
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
}

TEST_F(KVFanLeaseTest, ATakeThatFailsAndTookEffectIsHandedBack) {
  failAfterWrites("F0Md", "01");
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_EQ(valueOf("F0Md"), "00");
}

TEST_F(KVFanLeaseTest, AToolThatHangsDelaysTheReturnOfNoOtherFan) {
  const auto lease = newLease(std::chrono::minutes(10));
  ASSERT_TRUE(lease->take({{0, 3000}, {1, 3000}})) << lease->fault();
  hangWrites("F0Md", "00");
  std::string other;
  std::thread orders([&] {
    soon([this] { return valueOf("F1Md") == "00"; });
    other = valueOf("F1Md");
    endOrders();
  });
  EXPECT_TRUE(lease->release());
  orders.join();
  EXPECT_EQ(other, "00");
  EXPECT_EQ(valueOf("F0Md"), "00");
}

TEST_F(KVFanLeaseTest, AHandBackThatHangsIsTriedAgainLongBeforeTheTimeOut) {
  const auto lease = newLease(std::chrono::minutes(10));
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  hangOnce("F0Md", "00");
  bool isBack = false;
  std::thread orders([&] {
    isBack = soon([this] { return valueOf("F0Md") == "00"; });
    endOrders();
  });
  EXPECT_TRUE(lease->release()) << lease->fault();
  orders.join();
  EXPECT_TRUE(isBack);
}

TEST_F(KVFanLeaseTest, AHandBackIsTriedUntilItSucceeds) {
  const auto lease = newLease(kShort);
  ASSERT_TRUE(lease->take({{0, 3000}, {1, 3000}})) << lease->fault();
  failWrites("F0Md", "00");
  EXPECT_FALSE(lease->release());
  EXPECT_EQ(lease->state(), KVFanLeaseState::kNotHandedBack);
  EXPECT_EQ(lease->fault(),
            "fan 0: not handed back: F0Md: the privileged tool ended with status 5");
  EXPECT_EQ(valueOf("F1Md"), "00");
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_TRUE(isOnDisk(0));
  endOrders();
  EXPECT_EQ(lease->renew(), KVFanLeaseState::kEnded);
  EXPECT_EQ(lease->fault(), "");
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_TRUE(soonOffTheDisk());
}

TEST_F(KVFanLeaseTest, TheFaultNamesEveryFanThatIsNotHandedBack) {
  const auto lease = newLease(kShort);
  ASSERT_TRUE(lease->take({{0, 3000}, {1, 3000}})) << lease->fault();
  failWrites("F0Md", "00");
  failWrites("F1Md", "00");
  EXPECT_FALSE(lease->release());
  EXPECT_EQ(lease->fault(),
            "fan 0: not handed back: F0Md: the privileged tool ended with status 5; "
            "fan 1: not handed back: F1Md: the privileged tool ended with status 5");
  endOrders();
  EXPECT_EQ(lease->renew(), KVFanLeaseState::kEnded);
}

TEST_F(KVFanLeaseTest, AReleaseTriesAgainInItsTime) {
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  failWrites("F0Md", "00");
  auto& children = wrapPort<ForwardingChildProcesses>(platform->ports().childProcesses);
  children.onLaunch = [&](const platform::ChildRequest& request) {
    if (children.requests.size() == 2) {
      endOrders();
    }
    return children.behind->launch(request);
  };
  EXPECT_TRUE(lease->release()) << lease->fault();
  EXPECT_EQ(children.requests.size(), 2U);
}

// As when the tool has no rights: nothing was written, and nothing is to be undone.
TEST_F(KVFanLeaseTest, AFanThatReadsAsTheSystemsNeedsNoHandBack) {
  use(recordedMachine(kWithModes));
  failWrites("F0Md", "01");
  failWrites("F0Md", "00");
  const auto lease = newLease(kShort);
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_EQ(lease->fault(), "fan 0: F0Md: the privileged tool ended with status 5");
  EXPECT_EQ(lease->state(), KVFanLeaseState::kEnded);
  endOrders();  // the guardian reads another machine
  EXPECT_TRUE(soonOffTheDisk());
}

TEST_F(KVFanLeaseTest, ATakeThatHangsIsNotForgotten) {
  hangWrites("F0Md", "01");
  const auto lease = newLease(kShort);
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_EQ(lease->state(), KVFanLeaseState::kNotHandedBack);
  EXPECT_EQ(lease->fault(), "a privileged tool that sets a fan still runs");
  EXPECT_EQ(lease->renew(), KVFanLeaseState::kNotHandedBack);
  endOrders();
  EXPECT_TRUE(soon([&] { return lease->renew() == KVFanLeaseState::kEnded; }));
  EXPECT_EQ(writes().back(), "F0Md 00");
  const Writes all = writes();
  EXPECT_NE(std::ranges::find(all, "F0Md 01"), all.end());
  EXPECT_TRUE(soonOffTheDisk());
}

// The recorded fans are in mode 01; what the tool writes does not change the recording.
TEST_F(KVFanLeaseTest, InAHostThatIgnoresSIGCHLDTheKeySaysWhetherItWasWritten) {
  std::signal(SIGCHLD, SIG_IGN);
  EXPECT_TRUE(controller->smc().setExternalValue("01", "F0Md"));
  EXPECT_FALSE(controller->smc().setExternalValue("00", "F0Md"));
  EXPECT_EQ(writes(), (Writes{"F0Md 01", "F0Md 00"}));
  const auto lease = newLease();
  EXPECT_FALSE(lease->take({{0, 3000}}));
  EXPECT_EQ(lease->fault(),
            "fan 0: not handed back: F0Md: the privileged tool has not written it; this program "
            "ignores SIGCHLD, so why is not known");
  std::signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(lease->renew(), KVFanLeaseState::kEnded);
  EXPECT_EQ(lease->fault(),
            "fan 0: F0Tg: the privileged tool has not written it; this program ignores SIGCHLD, "
            "so why is not known");
}

TEST_F(KVFanLeaseTest, InAHostThatIgnoresSIGCHLDFansAreTakenAndHandedBack) {
  std::signal(SIGCHLD, SIG_IGN);
  Platform::choose(KELVORA_MACHINES "/MacBookPro15,1.json");
  std::filesystem::copy_file(KELVORA_TEST_TOOL, folder.path("Kelvora/Kelvora SMC"),
                             std::filesystem::copy_options::overwrite_existing);
  controller.reset();
  platform = Platform::chosen();
  controller = std::make_unique<SensorController>(*platform);
  const auto lease = newLease();
  EXPECT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_EQ(controller->smc().rawValueByKey("F0Tg"), 3000);
  EXPECT_TRUE(lease->release()) << lease->fault();
  EXPECT_EQ(controller->smc().rawValueByKey("F0Md"), 0);
}

// --- the guardian, and the holder's own time

TEST_F(KVFanLeaseTest, ALeaseWithoutItsGuardianIsHandedBack) {
  const auto lease = newLease();
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  const pid_t guardian = guardianOf(getpid());
  ASSERT_GT(guardian, 0);
  kill(guardian, SIGKILL);
  EXPECT_TRUE(soon([&] { return lease->renew() == KVFanLeaseState::kEnded; }));
  EXPECT_EQ(lease->fault(), "the guardian has ended");
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_FALSE(isOnDisk());
  EXPECT_TRUE(lease->take({{0, 3000}})) << lease->fault();
}

TEST_F(KVFanLeaseTest, ALeaseWithASilentGuardianIsHandedBack) {
  const auto lease = newLease(kShort);
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  const pid_t guardian = guardianOf(getpid());
  ASSERT_GT(guardian, 0);
  kill(guardian, SIGSTOP);
  EXPECT_TRUE(soon([&] { return lease->renew() == KVFanLeaseState::kEnded; }));
  EXPECT_EQ(lease->fault(), "the guardian is silent");
  EXPECT_EQ(valueOf("F0Md"), "00");
  EXPECT_TRUE(isOnDisk());
  kill(guardian, SIGCONT);
  EXPECT_TRUE(soonOffTheDisk());
}

TEST_F(KVFanLeaseTest, ALeaseThatIsRenewedTooLateIsHandedBack) {
  const auto lease = newLease(kShort);
  ASSERT_TRUE(lease->take({{0, 3000}})) << lease->fault();
  EXPECT_TRUE(soon([this] { return valueOf("F0Md") == "00"; }));
  EXPECT_TRUE(soon([&] { return lease->renew() == KVFanLeaseState::kEnded; }));
  EXPECT_EQ(lease->fault(), "the lease was not renewed in time");
  EXPECT_EQ(writes().back(), "F0Md 00");
  EXPECT_TRUE(soonOffTheDisk());
}

}  // namespace
}  // namespace kelvora::testing
