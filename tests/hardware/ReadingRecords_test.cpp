#include "hardware/ReadingRecords.h"

#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace kelvora {
namespace {

constexpr std::size_t kRoom = 40;
const std::string kLongName(100, 'n');

SensorPtr recordOf(const std::shared_ptr<ReadingRecords::Records>& records, std::size_t index) {
  return {records, &records->at(index)};
}

TEST(ReadingRecords, MemoryThatWasLetGoServesTheNextReadingWithTheMemoryOfItsTexts) {
  ReadingRecords memory;
  auto first = memory.take(kRoom);
  ASSERT_GE(first->size(), kRoom);
  const Sensor* const place = first->data();
  first->at(7).name = kLongName;
  first.reset();
  const auto second = memory.take(kRoom);
  EXPECT_EQ(second->data(), place);
  EXPECT_GE(second->at(7).name.capacity(), kLongName.size());
}

TEST(ReadingRecords, OneRecordThatIsHeldKeepsItsReading) {
  ReadingRecords memory;
  SensorPtr held = recordOf(memory.take(kRoom), 3);
  held->value = 41.5;
  const auto other = memory.take(kRoom);
  other->at(3).value = 7;
  EXPECT_NE(&other->at(3), held.get());
  EXPECT_EQ(held->value, 41.5);
}

TEST(ReadingRecords, TwoPiecesServeAHostThatKeepsAReadingUntilItHasTheNext) {
  ReadingRecords memory;
  auto current = memory.take(kRoom);
  const Sensor* const first = current->data();
  current = memory.take(kRoom);
  const Sensor* const second = current->data();
  for (int round = 0; round < 3; ++round) {
    current = memory.take(kRoom);
    EXPECT_EQ(current->data(), first);
    current = memory.take(kRoom);
    EXPECT_EQ(current->data(), second);
  }
}

TEST(ReadingRecords, AWeakPointerStaysExpiredWhenTheMemoryServesAgain) {
  ReadingRecords memory;
  SensorPtr held = recordOf(memory.take(kRoom), 0);
  const std::weak_ptr<Sensor> weak = held;
  held.reset();
  const auto next = memory.take(kRoom);
  EXPECT_EQ(weak.lock(), nullptr);
}

TEST(ReadingRecords, MemoryGrowsToTheRoomThatIsAskedFor) {
  ReadingRecords memory;
  memory.take(kRoom);
  EXPECT_GE(memory.take(3 * kRoom)->size(), 3 * kRoom);
  EXPECT_GE(memory.take(kRoom)->size(), kRoom);
  EXPECT_NE(memory.take(0), nullptr);
}

TEST(ReadingRecords, AReadingOutlivesWhoTookIt) {
  std::optional<ReadingRecords> memory(std::in_place);
  const SensorPtr held = recordOf(memory->take(kRoom), 5);
  held->name = kLongName;
  memory.reset();
  EXPECT_EQ(held->name, kLongName);
}

TEST(ReadingRecords, ReadingsAreLetGoOnAnyThreadWhileOthersAreTaken) {
  ReadingRecords memory;
  std::vector<std::thread> threads;
  for (int round = 0; round < 50; ++round) {
    auto records = memory.take(kRoom);
    for (Sensor& sensor : *records) {
      sensor.name = kLongName;
    }
    threads.emplace_back([records = std::move(records)]() mutable { records.reset(); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_GE(memory.take(kRoom)->at(0).name.capacity(), kLongName.size());
}

}  // namespace
}  // namespace kelvora
