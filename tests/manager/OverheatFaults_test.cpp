// Overheat rules of two programs at once, and of a program whose suite cannot be read or written
// for a while: no rule is lost, none is there twice, and nothing older wins.
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KelvoraCore/KVDataManager.h"

#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/ChildWork.h"
#include "tests/support/OverheatRuleList.h"
#include "tests/support/RecordedNotices.h"
#include "tests/support/ResourceLimit.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

using testing::keysOf;
using testing::rule;
using Rules = std::vector<KVNotification>;
using testing::ChildWork;
using ::testing::ElementsAre;
using testing::ResourceLimit;
using ::testing::UnorderedElementsAre;

// A store with the sensors "T0" to "T9" and the suite of the live platform, which several programs
// share.
class OverheatPrograms : public testing::StoreFixture {
 protected:
  OverheatPrograms() { ::testing::internal::CaptureStderr(); }
  ~OverheatPrograms() override { ::testing::internal::GetCapturedStderr(); }

  // In a process of its own, so that this one has no threads when it starts others.
  void addSensors() {
    ASSERT_EQ(run([&](KVDataManager& manager) {
                KVCoreDataStore& store = manager.coreDataStore();
                for (int number = 0; number < kSensors; ++number) {
                  addSensor(store, keyOf(number), addCategory(store, "Temperature", 0));
                }
                store.saveViewContext();
                return manager.setAppLaunchCount(5);
              }).wait(),
              0);
  }
  static std::string keyOf(int number) { return "T" + std::to_string(number); }

  // Another program.
  ChildWork run(const std::function<bool(KVDataManager&)>& work) {
    return ChildWork([this, work] {
      const auto own = programsPlatform();
      KVDataManager manager(*own);
      return work(manager) ? 0 : 1;
    });
  }
  std::unique_ptr<Platform> programsPlatform() const {
    auto made = Platform::live();
    made->ports().userDefaults = std::make_unique<platform::LinuxUserDefaults>(home + "/config");
    return made;
  }

  static constexpr int kSensors = 10;
  std::string suiteFile() const {
    return home + "/config/" + kApplicationGroupIdentifier + "/Settings.plist";
  }
};

TEST_F(OverheatPrograms, TwoThatAddRulesFromTheirFirstInstructionLoseNone) {
  addSensors();
  for (int round = 0; round < 10; ++round) {
    std::filesystem::remove(suiteFile());
    const auto adder = [&](int first) {
      return run([first](KVDataManager& manager) {
        bool added = manager.setAppLaunchCount(5);
        for (int number = first; number < kSensors; number += 2) {
          added = manager.addOverheatNotification(rule(keyOf(number), number)) && added;
        }
        return added;
      });
    };
    ChildWork even = adder(0);
    ChildWork odd = adder(1);
    ASSERT_EQ(even.wait(), 0);
    ASSERT_EQ(odd.wait(), 0);
    ASSERT_EQ(run([](KVDataManager& manager) {
                const auto rules = manager.overheatNotifications();
                bool isWhole = rules && rules->size() == kSensors;
                for (int number = 0; number < kSensors; ++number) {
                  const auto found = manager.getOverheatNotificationBySensorKey(keyOf(number));
                  isWhole = isWhole && found && found->threshold == number;
                }
                return isWhole;
              }).wait(),
              0)
        << round;
  }
}

TEST_F(OverheatPrograms, TwoThatAddTheSameRulesHaveEachOnce) {
  addSensors();
  for (int round = 0; round < 10; ++round) {
    std::filesystem::remove(suiteFile());
    const auto adder = [&] {
      return run([](KVDataManager& manager) {
        manager.setAppLaunchCount(5);
        for (int number = 0; number < kSensors; ++number) {
          manager.addOverheatNotification(rule(keyOf(number)));
        }
        return true;
      });
    };
    ChildWork one = adder();
    ChildWork other = adder();
    ASSERT_EQ(one.wait(), 0);
    ASSERT_EQ(other.wait(), 0);
    ASSERT_EQ(run([](KVDataManager& manager) {
                return manager.overheatNotifications()->size() == kSensors;
              }).wait(),
              0)
        << round;
  }
}

TEST_F(OverheatPrograms, TwoThatUpdateDifferentRulesLoseNoChange) {
  addSensors();
  ASSERT_EQ(run([](KVDataManager& manager) {
              return manager.setOverheatNotifications({rule("T0", 0), rule("T1", 0)});
            }).wait(),
            0);
  constexpr int kUpdates = 100;
  const auto updater = [&](const std::string& key) {
    return run([key](KVDataManager& manager) {
      for (int number = 1; number <= kUpdates; ++number) {
        const auto seen = manager.getOverheatNotificationBySensorKey(key);
        if (!seen || seen->threshold != number - 1 ||
            !manager.updateOverheatNotification(rule(key, number))) {
          return false;
        }
      }
      return true;
    });
  };
  ChildWork one = updater("T0");
  ChildWork other = updater("T1");
  EXPECT_EQ(one.wait(), 0);
  EXPECT_EQ(other.wait(), 0);
  const auto own = programsPlatform();
  KVDataManager manager(*own);
  EXPECT_THAT(keysOf(manager.overheatNotifications()), ElementsAre("T0", "T1"));
  EXPECT_EQ(manager.getOverheatNotificationBySensorKey("T0")->threshold, kUpdates);
  EXPECT_EQ(manager.getOverheatNotificationBySensorKey("T1")->threshold, kUpdates);
}

TEST_F(OverheatPrograms, TwoThatChangeDifferentFieldsOfOneRuleLoseNoChange) {
  addSensors();
  ASSERT_EQ(run([](KVDataManager& manager) {
              KVNotification both = rule("T0", 0);
              both.repeat = 0;
              return manager.setOverheatNotifications({both});
            }).wait(),
            0);
  constexpr int kChanges = 100;
  const auto changer = [&](const std::function<void(KVNotification&)>& change) {
    return run([change](KVDataManager& manager) {
      bool changed = true;
      for (int number = 0; number < kChanges; ++number) {
        changed = manager.changeOverheatNotification("T0", change) && changed;
      }
      return changed;
    });
  };
  ChildWork one = changer([](KVNotification& stored) { *stored.threshold += 1; });
  ChildWork other = changer([](KVNotification& stored) { *stored.repeat += 1; });
  EXPECT_EQ(one.wait(), 0);
  EXPECT_EQ(other.wait(), 0);
  const auto own = programsPlatform();
  KVDataManager manager(*own);
  EXPECT_EQ(manager.overheatNotifications()->front().threshold, kChanges);
  EXPECT_EQ(manager.overheatNotifications()->front().repeat, kChanges);
}

TEST_F(OverheatPrograms, TwoNewOnesStoreOneDefaultList) {
  addSensors();
  for (int round = 0; round < 10; ++round) {
    std::filesystem::remove(suiteFile());
    const auto reader = [&] {
      return run([](KVDataManager& manager) {
        manager.setMainSensor(manager.coreDataStore().getSensorByKey("T3"));
        const auto rules = manager.overheatNotifications();
        return rules && rules->size() == 1 && rules->front().sensorKey == "T3" &&
               manager.addOverheatNotification(rule("T" + std::to_string(getpid() % 2)));
      });
    };
    ChildWork one = reader();
    ChildWork other = reader();
    one.wait();
    other.wait();
    ASSERT_EQ(run([](KVDataManager& manager) {
                const auto rules = manager.overheatNotifications();
                return rules && rules->front().sensorKey == "T3" && rules->size() >= 2;
              }).wait(),
              0)
        << round;
  }
}

class OverheatFaults : public OverheatPrograms {
 protected:
  OverheatFaults() {
    addSensors();
    own_ = programsPlatform();
    notices_ = std::make_unique<testing::RecordedNotices>(*own_);
    manager_ = std::make_unique<KVDataManager>(*own_);
    other_ = std::make_unique<KVDataManager>(*own_);  // another program's suite
    EXPECT_TRUE(manager_->setOverheatNotifications({rule("T0", 1), rule("T1", 1)}));
    EXPECT_EQ(keysOf(manager_->overheatNotifications()).size(), 2U);
    notices_->take();
  }
  double threshold(const std::string& key) {
    return other_->getOverheatNotificationBySensorKey(key)->threshold.value();
  }

  std::unique_ptr<Platform> own_;
  std::unique_ptr<testing::RecordedNotices> notices_;
  std::unique_ptr<KVDataManager> manager_;
  std::unique_ptr<KVDataManager> other_;
};

TEST_F(OverheatFaults, AChangeOnAFullDiskSaysSoAndDoesNotComeBack) {
  {
    const ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_FALSE(manager_->updateOverheatNotification(rule("T0", 2)));
    EXPECT_FALSE(manager_->addOverheatNotification(rule("T2", 2)));
    EXPECT_FALSE(manager_->removeOverheatNotification("T1"));
    EXPECT_FALSE(manager_->setOverheatNotifications({}));
  }
  EXPECT_TRUE(notices_->take().empty());
  EXPECT_THAT(keysOf(manager_->overheatNotifications()), ElementsAre("T0", "T1"));
  ASSERT_TRUE(other_->updateOverheatNotification(rule("T0", 3)));
  EXPECT_TRUE(manager_->updateOverheatNotification(rule("T1", 4)));
  EXPECT_EQ(threshold("T0"), 3.0);
  EXPECT_EQ(threshold("T1"), 4.0);
  EXPECT_EQ(notices_->take().size(), 2U);
}

TEST_F(OverheatFaults, AfterALackOfDescriptorsTheRulesOfOtherProgramsStay) {
  ASSERT_TRUE(other_->updateOverheatNotification(rule("T0", 3)));
  {
    const ResourceLimit descriptors(RLIMIT_NOFILE, 3);
    EXPECT_FALSE(manager_->updateOverheatNotification(rule("T1", 2)));
    manager_->overheatNotifications();
  }
  EXPECT_TRUE(manager_->updateOverheatNotification(rule("T1", 4)));
  EXPECT_EQ(threshold("T0"), 3.0);
  EXPECT_EQ(threshold("T1"), 4.0);
}

TEST_F(OverheatFaults, ADefaultListThatMetAFullDiskIsNotStoredOverALaterOne) {
  ASSERT_TRUE(manager_->setMainSensor(manager_->coreDataStore().getSensorByKey("T5")));
  std::filesystem::remove(suiteFile());
  {
    const ResourceLimit fileSize(RLIMIT_FSIZE, 10);
    EXPECT_EQ(manager_->overheatNotifications()->size(), 1U);
  }
  EXPECT_TRUE(notices_->take().empty());
  ASSERT_TRUE(other_->setOverheatNotifications({rule("T1"), rule("T2")}));
  EXPECT_THAT(keysOf(manager_->overheatNotifications()), ElementsAre("T1", "T2"));
  EXPECT_TRUE(manager_->addOverheatNotification(rule("T3")));
  EXPECT_THAT(keysOf(other_->overheatNotifications()), ElementsAre("T1", "T2", "T3"));
}

TEST_F(OverheatFaults, AfterAnotherProgramClearedTheSuiteNoOldRuleComesBack) {
  std::filesystem::remove(suiteFile());
  ASSERT_TRUE(other_->setAppLaunchCount(5));
  EXPECT_EQ(manager_->overheatNotifications(), std::nullopt);
  EXPECT_TRUE(manager_->addOverheatNotification(rule("T2")));
  EXPECT_THAT(keysOf(other_->overheatNotifications()), ElementsAre("T2"));
}

TEST_F(OverheatFaults, AChangeBesideADamagedSuiteKeepsTheDamagedFileAside) {
  temporary.write("config/" + std::string(kApplicationGroupIdentifier) + "/Settings.plist",
                  "damaged");
  EXPECT_TRUE(manager_->addOverheatNotification(rule("T2")));
  EXPECT_TRUE(std::filesystem::exists(suiteFile() + ".unusable-1"));
  EXPECT_TRUE(other_->getOverheatNotificationBySensorKey("T2").has_value());
}

}  // namespace
}  // namespace kelvora
