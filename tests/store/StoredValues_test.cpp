#include "tests/support/StoreFixture.h"

namespace kelvora {
namespace {

// Every property of every class has a value of its own, so that one that is stored in the place of
// another is noticed.
class StoredValuesTest : public testing::StoreFixture {
 protected:
  template <typename T>
  std::shared_ptr<T> insert() {
    return std::dynamic_pointer_cast<T>(writer->viewContext()->insertNewObject(T::kEntityName));
  }
  // The only object of a class, as another program reads it.
  template <typename T>
  std::shared_ptr<T> saved() {
    writer->saveViewContext();
    reader = makeStore();
    return std::dynamic_pointer_cast<T>(
        reader->viewContext()->objectOf(T::kEntityName, std::nullopt));
  }
  static ManagedDate second(int seconds) { return ManagedDate(std::chrono::seconds(seconds)); }

  std::unique_ptr<KVCoreDataStore> writer = makeStore();
  std::unique_ptr<KVCoreDataStore> reader;
};

TEST_F(StoredValuesTest, OfACategory) {
  const auto written = insert<KVCategory>();
  written->setName("Power");
  written->setType(4);
  const auto read = saved<KVCategory>();
  EXPECT_EQ(read->name(), "Power");
  EXPECT_EQ(read->type(), 4);
}

TEST_F(StoredValuesTest, OfASensor) {
  const auto written = insert<KVSensor>();
  EXPECT_EQ(written->recordedMinValue(), -1);
  EXPECT_EQ(written->recordedMaxValue(), -1);
  written->setKey("TC0P");
  written->setName("CPU");
  written->setFullName("CPU Proximity");
  written->setValue(1.5);
  written->setMinValue(2.5);
  written->setMaxValue(3.5);
  written->setRecordedMinValue(4.5);
  written->setRecordedMaxValue(5.5);
  written->setGroup(6);
  written->setSourceType(2);
  written->setPlatform(511);
  written->setAverage(true);
  const auto read = saved<KVSensor>();
  EXPECT_EQ(read->key(), "TC0P");
  EXPECT_EQ(read->name(), "CPU");
  EXPECT_EQ(read->fullName(), "CPU Proximity");
  EXPECT_EQ(read->value(), 1.5);
  EXPECT_EQ(read->minValue(), 2.5);
  EXPECT_EQ(read->maxValue(), 3.5);
  EXPECT_EQ(read->recordedMinValue(), 4.5);
  EXPECT_EQ(read->recordedMaxValue(), 5.5);
  EXPECT_EQ(read->group(), 6);
  EXPECT_EQ(read->sourceType(), 2);
  EXPECT_EQ(read->platform(), 511);
  EXPECT_TRUE(read->average());
  EXPECT_FALSE(read->isCustom());
  written->setIsCustom(true);
  written->setAverage(false);
  EXPECT_TRUE(saved<KVSensor>()->isCustom());
  EXPECT_FALSE(saved<KVSensor>()->average());
}

TEST_F(StoredValuesTest, OfAGraphPoint) {
  const auto written = insert<KVGraphPoint>();
  written->setPointX(1.5);
  written->setPointY(2.5);
  written->setTimeRange(2);
  const auto read = saved<KVGraphPoint>();
  EXPECT_EQ(read->pointX(), 1.5);
  EXPECT_EQ(read->pointY(), 2.5);
  EXPECT_EQ(read->timeRange(), 2);
}

TEST_F(StoredValuesTest, OfAFanSet) {
  const auto written = insert<KVFanSet>();
  written->setIdentifier("1700000000");
  written->setName("Quiet");
  written->setCreated(second(7));
  written->setValue({std::byte{8}});
  const auto read = saved<KVFanSet>();
  EXPECT_EQ(read->identifier(), "1700000000");
  EXPECT_EQ(read->name(), "Quiet");
  EXPECT_EQ(read->created(), second(7));
  EXPECT_EQ(read->value(), ManagedData{std::byte{8}});
}

TEST_F(StoredValuesTest, OfAFanCondition) {
  const auto written = insert<KVFanCondition>();
  written->setActive(false);
  written->setBatteryState(3);
  written->setCreated(second(9));
  written->setSensorKey("TC0P");
  written->setThreshold(61.5);
  written->setExternalDisplayConnected(true);
  const auto read = saved<KVFanCondition>();
  EXPECT_FALSE(read->active());
  EXPECT_EQ(read->batteryState(), 3);
  EXPECT_EQ(read->created(), second(9));
  EXPECT_EQ(read->sensorKey(), "TC0P");
  EXPECT_EQ(read->threshold(), 61.5);
  EXPECT_TRUE(read->externalDisplayConnected());
}

}  // namespace
}  // namespace kelvora
