#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/ManagerFixture.h"
#include "tests/support/ResourceLimit.h"

namespace kelvora {

using Info = PropertyListValue::Dictionary;

struct Outcome {
  int calls = 0;
  bool done = false;
  std::optional<KVError> error;
};

inline Outcome addTo(KVDataManager& manager, const Info& info) {
  Outcome outcome;
  manager.addCustomSensor(info, [&](bool done, std::optional<KVError> error) {
    outcome = {outcome.calls + 1, done, std::move(error)};
  });
  return outcome;
}

inline Outcome removeFrom(KVDataManager& manager, const KVSensorPtr& sensor) {
  Outcome outcome;
  manager.removeCustomSensor(sensor, [&](bool done, std::optional<KVError> error) {
    outcome = {outcome.calls + 1, done, std::move(error)};
  });
  return outcome;
}

inline void expectDone(const Outcome& outcome) {
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_TRUE(outcome.done);
  EXPECT_FALSE(outcome.error.has_value());
}

inline void expectFailed(const Outcome& outcome, std::int64_t code) {
  EXPECT_EQ(outcome.calls, 1);
  EXPECT_FALSE(outcome.done);
  ASSERT_TRUE(outcome.error.has_value());
  EXPECT_EQ(outcome.error->domain, KVErrorDomain);
  EXPECT_EQ(outcome.error->code, code);
}

inline Info infoOf(const std::string& key, double value = 21.5, std::int64_t type = 0) {
  return {{"key", key}, {"name", "Desk"}, {"category_type", type}, {"value", value}};
}

class CustomSensors : public testing::ManagerFixture {
 protected:
  CustomSensors() {
    for (const int type : {0, 1, 2, 3, 4}) {
      addCategory(store(), "Type " + std::to_string(type), static_cast<std::int16_t>(type));
    }
    store().saveViewContext();
  }

  Outcome add(const Info& info) { return addTo(*manager, info); }
  Outcome remove(const KVSensorPtr& sensor) { return removeFrom(*manager, sensor); }
  KVSensorPtr added(const std::string& key) {
    expectDone(add(infoOf(key)));
    return store().getSensorByKey(key);
  }
  KVSensorPtr builtIn(const std::string& key) {
    auto sensor = addSensor(store(), key, store().getCategoryWithType(0));
    sensor->setName("Built in");
    store().saveViewContext();
    return sensor;
  }
  std::vector<std::string> storedKeys() {
    return testing::keysOf(otherStore()->allSensors().value());
  }
  std::vector<std::string> keysInCategory(std::int64_t type) {
    return testing::keysOf(otherStore()->getCategoryWithType(type)->sensors());
  }
  /// Every write of this process fails as on a full disk.
  struct FullDisk {
    testing::ResourceLimit limit{RLIMIT_FSIZE, 0};
  };
};

}  // namespace kelvora
