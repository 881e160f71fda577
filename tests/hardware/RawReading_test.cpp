#include "hardware/RawReading.h"

#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

Sensor everyField(const std::string& mark) {
  const double number = static_cast<double>(mark.size());
  return {mark + " key",   mark + " name",  mark + " full name", number,
          number + 1,      number + 2,      mark.size() + 3,     mark.size() + 4,
          mark.size() + 5, mark.size() + 6, mark.size() % 2 == 0};
}

void expectEqual(const Sensor& sensor, const Sensor& expected) {
  EXPECT_EQ(sensor.key, expected.key);
  EXPECT_EQ(sensor.name, expected.name);
  EXPECT_EQ(sensor.fullName, expected.fullName);
  EXPECT_EQ(sensor.value, expected.value);
  EXPECT_EQ(sensor.minLimitValue, expected.minLimitValue);
  EXPECT_EQ(sensor.maxLimitValue, expected.maxLimitValue);
  EXPECT_EQ(sensor.type, expected.type);
  EXPECT_EQ(sensor.group, expected.group);
  EXPECT_EQ(sensor.platform, expected.platform);
  EXPECT_EQ(sensor.sourceType, expected.sourceType);
  EXPECT_EQ(sensor.average, expected.average);
}

TEST(RawSensor, OverwritesEveryFieldOfARecord) {
  const Sensor read = everyField("as read");
  Sensor expected = read;
  expected.value = 41.5;
  for (const char* before : {"x", "at rest", "of any length that a text may have"}) {
    Sensor record = everyField(before);
    RawSensor{&read.key, &read, 41.5}.copyTo(record);
    expectEqual(record, expected);
  }
}

TEST(RawSensor, GoesByItsKeyWhenThePrototypeHasNoName) {
  const std::string key = "TC0P";
  Sensor prototype = everyField("as read");
  prototype.name.clear();
  Sensor record = everyField("as was");
  RawSensor{&key, &prototype, 41.5}.copyTo(record);
  EXPECT_EQ(record.key, "TC0P");
  EXPECT_EQ(record.name, "TC0P");
  EXPECT_EQ(record.fullName, "TC0P");
}

TEST(RawSensor, TakesOtherNamesAlsoFromTheRecordItself) {
  const Sensor read = everyField("as read");
  Sensor record = everyField("as was");
  RawSensor{&read.key, &read, 41.5}.copyTo(record, "CPU Proximity", record.name);
  EXPECT_EQ(record.key, "as read key");
  EXPECT_EQ(record.name, "CPU Proximity");
  EXPECT_EQ(record.fullName, "CPU Proximity");
}

TEST(RawReading, KeepsSensorsInOrderAndItsOwnWhereTheyAre) {
  const std::string key = "TC0P";
  const Sensor prototype = everyField("as read");
  RawReading reading;
  constexpr int kOwn = 200;
  for (int i = 0; i < kOwn; ++i) {
    reading.add(everyField(std::string(static_cast<std::size_t>(i), 'o')));
    reading.add({&key, &prototype, -static_cast<double>(i)});
  }
  ASSERT_EQ(reading.sensors().size(), 2U * kOwn);
  for (std::size_t i = 0; i < kOwn; ++i) {
    const RawSensor& own = reading.sensors()[2 * i];
    EXPECT_EQ(*own.key, std::string(i, 'o') + " key");
    EXPECT_EQ(own.value, static_cast<double>(i));
    EXPECT_EQ(own.prototype->fullName, std::string(i, 'o') + " full name");
    EXPECT_EQ(reading.sensors()[2 * i + 1].value, -static_cast<double>(i));
  }
}

TEST(RawReading, KeepsTheOwnerOfKeysAsLongAsItLives) {
  auto owner = std::make_shared<const std::string>("TC0P");
  const std::weak_ptr<const std::string> watched = owner;
  {
    RawReading reading;
    reading.keep(std::move(owner));
    EXPECT_FALSE(watched.expired());
  }
  EXPECT_TRUE(watched.expired());
}

}  // namespace
}  // namespace kelvora
