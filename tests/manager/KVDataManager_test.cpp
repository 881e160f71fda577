#include "KelvoraCore/KVDataManager.h"

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ManagerFixture.h"

namespace kelvora {
namespace {

using Array = PropertyListValue::Array;
using Dictionary = PropertyListValue::Dictionary;
using ::testing::ElementsAre;
using Items = std::vector<KVDropdownItem>;

constexpr std::int16_t kTemperature = 0;

enum class Access : std::uint8_t { kRead, kReadAll, kChange };

// Another program stores a choice after the first access of a kind.
class ChoiceOfAnotherProgram : public platform::MemoryUserDefaults {
 public:
  ChoiceOfAnotherProgram(std::string key, PropertyListValue choice, Access access)
      : key_(std::move(key)), choice_(std::move(choice)), access_(access) {}
  std::unique_ptr<platform::UserDefaultsSuite> suite(const std::string& name) override {
    return std::make_unique<Suite>(MemoryUserDefaults::suite(name), *this);
  }

 private:
  struct Suite : platform::UserDefaultsSuite {
    Suite(std::unique_ptr<UserDefaultsSuite> suite, ChoiceOfAnotherProgram& program)
        : real(std::move(suite)), other(program) {}
    std::optional<PropertyListValue> object(std::string_view key) override {
      return after(Access::kRead, key, real->object(key));
    }
    PropertyListValue::Dictionary objects() override {
      return after(Access::kReadAll, other.key_, real->objects());
    }
    bool setObject(std::string_view key, PropertyListValue value) override {
      return real->setObject(key, std::move(value));
    }
    bool removeObject(std::string_view key) override { return real->removeObject(key); }
    std::optional<PropertyListValue> changeObject(std::string_view key, const Change& change,
                                                  platform::SuiteWrite reason) override {
      return after(Access::kChange, key, real->changeObject(key, change, reason));
    }
    template <typename Result>
    Result after(Access access, std::string_view key, Result result) {
      if (!other.isMade_ && access == other.access_ && key == other.key_) {
        other.isMade_ = real->setObject(other.key_, other.choice_);
      }
      return result;
    }
    std::unique_ptr<UserDefaultsSuite> real;
    ChoiceOfAnotherProgram& other;
  };

  const std::string key_;
  const PropertyListValue choice_;
  const Access access_;
  bool isMade_ = false;
};

class DataManager : public testing::ManagerFixture {
 protected:
  void otherProgramChooses(const std::string& key, const PropertyListValue& choice, Access access) {
    manager.reset();
    platform->ports().userDefaults = std::make_unique<ChoiceOfAnotherProgram>(key, choice, access);
    manager = std::make_unique<KVDataManager>(*platform);
    suite = platform->userDefaults().suite(kApplicationGroupIdentifier);
  }
  void announceDataset() {
    platform->notificationCentres().inProcess().post(
        {KVDataManagerDidGenerateDatasetNotification, std::nullopt, std::nullopt}, true);
  }
};

TEST_F(DataManager, AFreshStoreHasNoMainSensorAndNoMenuSensors) {
  EXPECT_EQ(manager->mainSensor(), nullptr);
  EXPECT_EQ(manager->menuSensors(), std::nullopt);
  EXPECT_EQ(suite->object("KVMainSensor"), std::nullopt);
  EXPECT_EQ(suite->object("KVMenuSensors"), std::nullopt);
}

TEST_F(DataManager, TheProcessorsProximityIsTheFirstMainSensorAndWrittenBack) {
  const KVSensorPtr proximity = add("TC0P");
  EXPECT_EQ(manager->mainSensor(), proximity);
  EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TC0P"));
}

TEST_F(DataManager, AChosenMainSensorIsKeptByItsKey) {
  add("TC0P");
  const KVSensorPtr graphics = add("TG0P");
  manager->setMainSensor(graphics);
  EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TG0P"));
  EXPECT_EQ(manager->mainSensor(), graphics);
}

TEST_F(DataManager, ADeletedMainSensorReturnsNullAndStaysChosen) {
  add("TC0P");
  suite->setObject("KVMainSensor", "gone");
  EXPECT_EQ(manager->mainSensor(), nullptr);
  EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("gone"));
}

TEST_F(DataManager, ClearingTheMainSensorAppliesTheDefaultAgain) {
  const KVSensorPtr proximity = add("TC0P");
  manager->setMainSensor(add("TG0P"));
  manager->setMainSensor(nullptr);
  EXPECT_EQ(suite->object("KVMainSensor"), std::nullopt);
  EXPECT_EQ(manager->mainSensor(), proximity);
}

TEST_F(DataManager, TheMainSensorIsNotAnnounced) {
  testing::RecordedNotices notices(*platform);
  manager->setMainSensor(add("TC0P"));
  EXPECT_TRUE(notices.take().empty());
}

TEST_F(DataManager, AGeneratedDatasetMakesTheFirstTemperatureTheMainSensor) {
  const KVSensorPtr first = add("TB0T");
  add("TB1T");
  announceDataset();
  EXPECT_EQ(manager->mainSensor(), first);
}

TEST_F(DataManager, AGeneratedDatasetLeavesAChosenMainSensor) {
  add("TB0T");
  const KVSensorPtr chosen = add("TB1T");
  manager->setMainSensor(chosen);
  announceDataset();
  EXPECT_EQ(manager->mainSensor(), chosen);
}

TEST_F(DataManager, AGeneratedDatasetReplacesAMainSensorThatIsGone) {
  const KVSensorPtr first = add("TB0T");
  suite->setObject("KVMainSensor", "gone");
  announceDataset();
  EXPECT_EQ(manager->mainSensor(), first);
}

TEST_F(DataManager, AGeneratedDatasetOfAnEmptyTemperatureCategoryChoosesNothing) {
  addCategory(manager->coreDataStore(), "Temperature", kTemperature);
  announceDataset();
  EXPECT_EQ(suite->object("KVMainSensor"), std::nullopt);
}

TEST_F(DataManager, AGeneratedDatasetWithoutTemperaturesChoosesNothing) {
  announceDataset();
  EXPECT_EQ(suite->object("KVMainSensor"), std::nullopt);
}

TEST_F(DataManager, AManagerThatIsGoneHearsOfNoDataset) {
  manager.reset();
  announceDataset();
  EXPECT_EQ(suite->object("KVMainSensor"), std::nullopt);
}

TEST_F(DataManager, TheMenuFirstShowsTheMainSensorAndKeepsThat) {
  add("TC0P");
  EXPECT_THAT(manager->menuSensors().value(), ElementsAre("TC0P"));
  EXPECT_EQ(suite->object("KVMenuSensors"), PropertyListValue(Array{"TC0P"}));
}

TEST_F(DataManager, ChosenMenuSensorsAreKeptInOrderAndAnnounced) {
  testing::RecordedNotices notices(*platform);
  manager->setMenuSensors(std::vector<std::string>{"TG0P", "TC0P"});
  EXPECT_THAT(manager->menuSensors().value(), ElementsAre("TG0P", "TC0P"));
  const auto heard = notices.take();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].name, KVDataManagerMenuSensorsDidChangeNotification);
  EXPECT_EQ(heard[0].userInfo, std::nullopt);
}

TEST_F(DataManager, AnEmptyMenuStaysEmpty) {
  add("TC0P");
  manager->setMenuSensors(std::vector<std::string>{});
  EXPECT_TRUE(manager->menuSensors().value().empty());
}

TEST_F(DataManager, ChosenLoggingSensorsAreReturned) {
  manager->setFileLoggingSensorKeys(std::vector<std::string>{"TC0P"});
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("TC0P"));
  manager->setFileLoggingSensorKeys(std::vector<std::string>{});
  add("TC0P");
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre());
}

TEST_F(DataManager, TheFirstCallReturnsNoLoggingSensorsAndStoresTheList) {
  add("TB0T");
  add("TC0P");
  testing::RecordedNotices notices(*platform);
  EXPECT_EQ(manager->fileLoggingSensorKeys(), std::nullopt);
  EXPECT_EQ(suite->object("KVFileLoggingSensorsKey"), PropertyListValue(Array{"TB0T", "TC0P"}));
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("TB0T", "TC0P"));
  add("TG0P");
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("TB0T", "TC0P"));
  EXPECT_TRUE(notices.take().empty());
}

TEST_F(DataManager, LoggingSensorsAreThoseThatAreShownByCategory) {
  KVCoreDataStore& store = manager->coreDataStore();
  const KVCategoryPtr power = addCategory(store, "Power", 4);
  const KVCategoryPtr temperature = addCategory(store, "Temperature", kTemperature);
  addSensor(store, "PC0C", power)->setName("Core");
  addSensor(store, "gauge", temperature, 1);
  addSensor(store, "AverageCPU", temperature, 2);
  addSensor(store, "TXXX", temperature);  // unknown once its names are the key
  store.getSensorByKey("TXXX")->setName("TXXX");
  store.getSensorByKey("TXXX")->setFullName("TXXX");
  addSensor(store, "TC0P", temperature)->setName("CPU");
  manager->fileLoggingSensorKeys();
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("AverageCPU", "TC0P", "PC0C"));
}

TEST_F(DataManager, AnEmptyListOfLoggingSensorsIsNotStored) {
  addCategory(manager->coreDataStore(), "Temperature", kTemperature);
  EXPECT_EQ(manager->fileLoggingSensorKeys(), std::nullopt);
  EXPECT_EQ(manager->fileLoggingSensorKeys(), std::nullopt);
  EXPECT_EQ(suite->object("KVFileLoggingSensorsKey"), std::nullopt);
  add("TC0P");
  EXPECT_EQ(manager->fileLoggingSensorKeys(), std::nullopt);
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("TC0P"));
}

TEST_F(DataManager, MistypedLoggingSensorsAreReplacedByTheList) {
  add("TC0P");
  suite->setObject("KVFileLoggingSensorsKey", "TC0P");
  EXPECT_EQ(manager->fileLoggingSensorKeys(), std::nullopt);
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("TC0P"));
}

TEST_F(DataManager, TheListOfLoggingSensorsGivesWayToAChoiceMadeMeanwhile) {
  otherProgramChooses("KVFileLoggingSensorsKey", Array{"chosen"}, Access::kReadAll);
  add("TC0P");
  EXPECT_EQ(manager->fileLoggingSensorKeys(), std::nullopt);
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("chosen"));
}

TEST_F(DataManager, MistypedLoggingSensorsGiveWayToAChoiceMadeMeanwhile) {
  otherProgramChooses("KVFileLoggingSensorsKey", Array{"chosen"}, Access::kChange);
  add("TC0P");
  suite->setObject("KVFileLoggingSensorsKey", "TC0P");
  EXPECT_EQ(manager->fileLoggingSensorKeys(), std::nullopt);
  EXPECT_THAT(manager->fileLoggingSensorKeys().value(), ElementsAre("chosen"));
}

TEST_F(DataManager, AGeneratedDatasetLeavesAMainSensorChosenMeanwhile) {
  for (const char* before : {"", "gone"}) {
    otherProgramChooses("KVMainSensor", "TB1T", Access::kRead);
    add("TB0T");
    add("TB1T");
    if (before[0] != '\0') {
      suite->setObject("KVMainSensor", before);
    }
    announceDataset();
    EXPECT_EQ(suite->object("KVMainSensor"), PropertyListValue("TB1T")) << before;
  }
}

TEST_F(DataManager, TheDropdownFirstShowsTwoItemsAndEveryCategory) {
  addCategory(manager->coreDataStore(), "B", 1);
  addCategory(manager->coreDataStore(), "A", 0);
  EXPECT_EQ(manager->dropdownItems(),
            (Items{{"main_sensor", true}, {"fan_control", true}, {"A", true}, {"B", true}}));
  EXPECT_EQ(
      manager->value(settingOf(KVSettingID::kDropdownItems)),
      PropertyListValue(Array{Dictionary{{"main_sensor", true}}, Dictionary{{"fan_control", true}},
                              Dictionary{{"A", true}}, Dictionary{{"B", true}}}));
  EXPECT_EQ(suite->object("KVDropdownItemsKey"), std::nullopt);
}

TEST_F(DataManager, StoredDropdownItemsKeepOrderAndGoneCategoriesAndGainNewOnes) {
  addCategory(manager->coreDataStore(), "A", 0);
  addCategory(manager->coreDataStore(), "B", 1);
  testing::RecordedNotices notices(*platform);
  manager->setDropdownItems({{"B", false}, {"gone", true}, {"main_sensor", false}});
  EXPECT_EQ(suite->object("KVDropdownItemsKey"),
            PropertyListValue(Array{Dictionary{{"B", false}}, Dictionary{{"gone", true}},
                                    Dictionary{{"main_sensor", false}}}));
  EXPECT_EQ(manager->dropdownItems(),
            (Items{{"B", false}, {"gone", true}, {"main_sensor", false}, {"A", true}}));
  const auto heard = notices.take();
  ASSERT_EQ(heard.size(), 1U);
  EXPECT_EQ(heard[0].name, KVDataManagerSettingsDidChangeNotification);
}

TEST_F(DataManager, MistypedStoredValuesGiveTheDefaults) {
  add("TC0P");
  suite->setObject("KVMainSensor", 7);
  suite->setObject("KVMenuSensors", "TC0P");
  suite->setObject("KVDropdownItemsKey", Array{Dictionary{{"a", true}, {"b", true}}});
  EXPECT_EQ(manager->mainSensor()->key(), "TC0P");
  EXPECT_THAT(manager->menuSensors().value(), ElementsAre("TC0P"));
  EXPECT_EQ(manager->dropdownItems().front(), (KVDropdownItem{"main_sensor", true}));
}

TEST_F(DataManager, SettingsThatNeedNoStoreHaveTheirComputedDefaults) {
  suite->setObject("KVFanControllerFanSetNameKey", "old");
  EXPECT_EQ(manager->manualFanSetId(), "old");
  EXPECT_EQ(suite->object("CURRENT_LANGUAGE_KEY"), std::nullopt);
  EXPECT_EQ(manager->value(settingOf(KVSettingID::kCurrentLanguage)),
            manager->defaultValue(settingOf(KVSettingID::kCurrentLanguage)));
  EXPECT_NE(suite->object("CURRENT_LANGUAGE_KEY"), std::nullopt);
}

TEST_F(DataManager, ModeOneKeepsStoredValuesAndEveryOtherReadsThemAgain) {
  EXPECT_EQ(KVDataManager::appMode(), 0);
  EXPECT_EQ(manager->coreDataStore().stalenessInterval(), 0.0);
  KVDataManager::setupWithAppMode(1);
  EXPECT_EQ(KVDataManager::appMode(), 1);
  EXPECT_EQ(KVDataManager(*platform).coreDataStore().stalenessInterval(), -1.0);
  KVDataManager::setAppMode(2);
  EXPECT_EQ(KVDataManager(*platform).coreDataStore().stalenessInterval(), 0.0);
}

TEST_F(DataManager, TheManualFanSetIsTheStoredSetOfThatIdentifier) {
  const KVFanSetPtr set = manager->coreDataStore().createFanSetWithName("Quiet", {});
  EXPECT_EQ(manager->manualFanSet(), nullptr);
  manager->setManualFanSetId("unknown");
  EXPECT_EQ(manager->manualFanSet(), nullptr);
  manager->setManualFanSetId(set->identifier());
  EXPECT_EQ(manager->manualFanSet(), set);
  EXPECT_TRUE(set->isManualFanSet());
  set->setIdentifier("");
  manager->setManualFanSetId("");
  EXPECT_EQ(manager->manualFanSet(), nullptr);
}

TEST_F(DataManager, TheInternalQueueIsOneSerialQueueOfItsOwn) {
  KVSerialQueue& queue = manager->internalQueue();
  EXPECT_EQ(&manager->internalQueue(), &queue);
  EXPECT_EQ(queue.label(), "com.KVDataManager.internalQueue");
  std::vector<int> order;
  std::thread::id thread;
  queue.async([&] { order.push_back(1); });
  queue.async([&] { order.push_back(2); });
  queue.sync([&] { thread = std::this_thread::get_id(); });
  EXPECT_THAT(order, ElementsAre(1, 2));
  EXPECT_NE(thread, std::this_thread::get_id());
}

TEST_F(DataManager, TheInternalQueueIsMadeOnceForEveryThread) {
  std::vector<KVSerialQueue*> queues(8);
  std::atomic<bool> started = false;
  std::vector<std::thread> threads;
  threads.reserve(queues.size());
  for (KVSerialQueue*& queue : queues) {
    threads.emplace_back([&] {
      started.wait(false);
      queue = &manager->internalQueue();
    });
  }
  started = true;
  started.notify_all();
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_THAT(queues, ::testing::Each(&manager->internalQueue()));
}

TEST_F(DataManager, TheDatasetMarkIsTheHostsOwn) {
  EXPECT_FALSE(manager->dataSetReady());
  manager->setDataSetReady(true);
  EXPECT_TRUE(manager->dataSetReady());
  EXPECT_FALSE(KVDataManager(*platform).dataSetReady());
}

TEST_F(DataManager, AnAssignedUpdateIntervalIsNeverReadBack) {
  manager->setUpdateInterval(0.5);
  EXPECT_EQ(manager->updateInterval(), 2.0);
}

TEST_F(DataManager, TheSharedManagerIsMadeOnceInTheModeThatWasSetUp) {
  Platform::install(std::move(platform));
  KVDataManager::setupWithAppMode(1);
  std::vector<std::thread> threads;
  threads.reserve(4);
  std::atomic<int> others = 0;
  KVDataManager& shared = KVDataManager::shared();
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] { others += &KVDataManager::shared() != &shared; });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(others, 0);
  EXPECT_EQ(shared.coreDataStore().stalenessInterval(), -1.0);
  const KVSensorPtr sensor = addSensor(shared.coreDataStore(), "TB0T",
                                       addCategory(shared.coreDataStore(), "Temperature", 0));
  KVDataManager::postDidGenerateDataset();
  EXPECT_EQ(shared.mainSensor(), sensor);
  platform = nullptr;
}

}  // namespace
}  // namespace kelvora
