#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Platform.h"

#include "tests/support/HomeFolder.h"

namespace kelvora::testing {

struct RecordedPoint {
  double age;  ///< seconds before now
  double value;
};

/// A user with a home folder of their own, and a store in it that a program has written.
class HistoryFixture : public ::testing::Test {
 protected:
  HistoryFixture() {
    setenv("TZ", "UTC", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    platform_ = Platform::live();
  }

  /// Adds a sensor with limits 0 and 100, and points to one series of its history.
  void record(const std::string& key, const std::string& name, std::int16_t type,
              std::int16_t timeRange, const std::vector<RecordedPoint>& points) {
    KVCoreDataStore store(-1, *platform_);
    const auto context = store.viewContext();
    const auto category = store.createOrUpdateCategoryWithName(std::to_string(type), context);
    category->setType(type);
    const auto sensor = store.createSensorWithKey(key, context);
    sensor->setName(name);
    sensor->setFullName(name);
    sensor->setMaxValue(100);
    sensor->setCategory(category);
    for (const RecordedPoint& each : points) {
      const auto point = store.createGraphPoint();
      point->setTimeRange(timeRange);
      point->setPointX(now_ - each.age);
      point->setPointY(each.value);
      sensor->addToGraphPoints(point);
    }
    ASSERT_EQ(context->save(), std::nullopt);
  }

  HomeFolder home_;
  std::unique_ptr<Platform> platform_;
  const double now_ =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
};

}  // namespace kelvora::testing
