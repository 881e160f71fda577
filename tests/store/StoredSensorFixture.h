#pragma once

#include <memory>
#include <optional>
#include <string>

#include "KelvoraCore/KVSettings.h"

#include "tests/support/MemoryUserDefaults.h"
#include "tests/support/StoreFixture.h"

namespace kelvora::testing {

// No category at all, where a test runs over category types.
inline constexpr int kWithoutCategory = -2;

/// Sensors in a store of their own, with settings in memory and the texts of the library.
class StoredSensorFixture : public StoreFixture {
 protected:
  StoredSensorFixture() {
    platform->ports().userDefaults = std::make_unique<platform::MemoryUserDefaults>();
    store = makeStore();
    settings = std::make_unique<KVSettings>(*platform);
    settings->setCurrentLanguage("en");
  }

  KVCategoryPtr categoryOf(int type) {
    return addCategory(*store, "Type " + std::to_string(type), static_cast<std::int16_t>(type));
  }

  /// A sensor of that category type; its key, name and full name are the key.
  KVSensorPtr sensorOf(int type, const std::string& key = "K") {
    auto sensor = store->createSensorWithKey(key, store->viewContext());
    sensor->setName(key);
    sensor->setFullName(key);
    sensor->setCategory(type == kWithoutCategory ? nullptr : categoryOf(type));
    return sensor;
  }

  KVSensorPtr fanOf(double speed, double minimum = 1200, double maximum = 6000) {
    auto fan = sensorOf(SensorTypeFan, "0");
    fan->setMinValue(minimum);
    fan->setMaxValue(maximum);
    fan->setValue(speed);
    return fan;
  }

  void addPoint(const KVSensorPtr& sensor, double value, std::int16_t timeRange = 0) {
    auto point = store->createGraphPoint();
    point->setPointY(value);
    point->setTimeRange(timeRange);
    point->setSensor(sensor);
  }

  std::unique_ptr<KVCoreDataStore> store;
  std::unique_ptr<KVSettings> settings;
};

}  // namespace kelvora::testing
