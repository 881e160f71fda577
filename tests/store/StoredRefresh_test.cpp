// A refresh of everything that a screen shows of the stored sensors: how many calls it makes.
#include <functional>
#include <string>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "platforms/linux/settings/LinuxUserDefaults.h"
#include "tests/support/FileCalls.h"
#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

constexpr int kSensors = 164;

// Settings and store in files, as a program on this system has them.
class StoredRefresh : public testing::StoreFixture {
 protected:
  StoredRefresh() {
    platform->ports().userDefaults =
        std::make_unique<platform::LinuxUserDefaults>(temporary.path("config"));
    KVSettings(*platform).setCurrentLanguage("de");
    const auto store = makeStore();
    for (int i = 0; i < kSensors; ++i) {
      const auto type = static_cast<std::int16_t>(i % 5);
      const auto sensor = addSensor(*store, "K" + std::to_string(i),
                                    addCategory(*store, "Category " + std::to_string(type), type));
      sensor->setName("Sensor");
      auto point = store->createGraphPoint();
      point->setSensor(sensor);
    }
    store->saveViewContext();
  }

  static void show(const KVSensor& sensor, KVSettings& settings, const KVLocalized::Texts& texts) {
    std::ignore = sensor.sensorDescription(texts);
    std::ignore = sensor.statusDisplay(texts);
    std::ignore = sensor.statusExplanation(settings);
    std::ignore = sensor.isNormalCondition();
    std::ignore = sensor.convertedMinValue(settings);
    std::ignore = sensor.convertedMaxValue(settings);
    std::ignore = sensor.fullStringValue(settings);
    std::ignore = sensor.tidyStringValue(settings);
    std::ignore = sensor.unitString(settings);
    std::ignore = sensor.graphMinValue(settings);
    std::ignore = sensor.graphMaxValue(settings);
    std::ignore = sensor.toSensor();
  }

  // The categories hold the place of their sensors' category, which is then read once.
  static int showAll(KVCoreDataStore& store, const ManagedObjectContextPtr& context,
                     KVSettings& settings, const KVLocalized::Texts& texts) {
    const auto categories = context->objectsOf("Category");
    const auto sensors = store.allSensorsInContext(context);
    for (const ManagedObjectPtr& object : categories.value_or(std::vector<ManagedObjectPtr>())) {
      const auto category = std::dynamic_pointer_cast<KVCategory>(object);
      std::ignore = category->localizedName(texts);
      std::ignore = category->filterSensors(settings);
    }
    for (const KVSensorPtr& sensor : sensors.value_or(std::vector<KVSensorPtr>())) {
      show(*sensor, settings, texts);
    }
    return sensors ? static_cast<int>(sensors->size()) : -1;
  }

  // File-system calls of `work` in a program whose store and texts are open.
  int callsOf(double staleness, const std::function<void(KVCoreDataStore&, KVSettings&)>& work) {
    std::unique_ptr<KVCoreDataStore> store;
    KVSettings live(*platform);
    return testing::fileCallsOf(
        [&] {
          store = makeStore(staleness);
          KVSettingsSnapshot settings(live);
          const KVLocalized::Texts texts(settings, *platform);
          if (showAll(*store, store->viewContext(), settings, texts) != kSensors) {
            std::_Exit(1);
          }
        },
        [&] { work(*store, live); });
  }

  int callsWithoutSensors() {
    return callsOf(-1, [this](KVCoreDataStore&, KVSettings& live) {
      KVSettingsSnapshot settings(live);
      const KVLocalized::Texts texts(settings, *platform);
    });
  }
};

constexpr int kCallsOfTheFetches = 30;

TEST_F(StoredRefresh, MakesAFewFileCallsHoweverManySensors) {
  const int calls = callsOf(-1, [this](KVCoreDataStore& store, KVSettings& live) {
    KVSettingsSnapshot settings(live);
    showAll(store, store.viewContext(), settings, KVLocalized::Texts(settings, *platform));
  });
  EXPECT_GT(callsWithoutSensors(), 0);
  EXPECT_LE(calls, callsWithoutSensors() + kCallsOfTheFetches);
}

// A store that shows what other programs save looks for that at each value. A refresh in a context
// of its own, which keeps values, looks once.
TEST_F(StoredRefresh, MakesAFewFileCallsAlsoIfOtherProgramsSave) {
  const int calls = callsOf(0, [this](KVCoreDataStore& store, KVSettings& live) {
    const auto context = store.newContext();
    context->setStalenessInterval(-1);
    KVSettingsSnapshot settings(live);
    showAll(store, context, settings, KVLocalized::Texts(settings, *platform));
  });
  EXPECT_LE(calls, callsWithoutSensors() + kCallsOfTheFetches);
}

}  // namespace
}  // namespace kelvora
