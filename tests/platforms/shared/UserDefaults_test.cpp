#include "ports/UserDefaults.h"

#include <filesystem>

#include "tests/platforms/shared/PortsTest.h"

namespace kelvora::testing {
namespace {

using platform::SuiteWrite;
using Dictionary = PropertyListValue::Dictionary;

class UserDefaultsPort : public PortsTest {
 protected:
  std::unique_ptr<platform::UserDefaultsSuite> open() {
    return ports.userDefaults->suite("group.com.kelvora");
  }
};

TEST_F(UserDefaultsPort, AFreshSuiteIsEmptyAndLookingCreatesNothing) {
  EXPECT_FALSE(open()->object("KVTempUnitCelsius"));
  EXPECT_TRUE(open()->objects().empty());
  EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(UserDefaultsPort, AWriteIsSeenByEveryReaderWhenItReturns) {
  const auto writer = open();
  const auto reader = open();
  EXPECT_FALSE(reader->object("KVUpdateFrequencyKey"));
  ASSERT_TRUE(writer->setObject("KVUpdateFrequencyKey", 2));
  EXPECT_EQ(writer->object("KVUpdateFrequencyKey"), PropertyListValue(2));
  EXPECT_EQ(reader->object("KVUpdateFrequencyKey"), PropertyListValue(2));
  EXPECT_EQ(reader->objects(), (Dictionary{{"KVUpdateFrequencyKey", 2}}));
}

TEST_F(UserDefaultsPort, AWriteChangesOnlyItsOwnSetting) {
  const auto first = open();
  const auto second = open();
  ASSERT_TRUE(first->setObject("a", 1));
  EXPECT_EQ(second->object("a"), PropertyListValue(1));
  ASSERT_TRUE(first->setObject("b", 2));
  ASSERT_TRUE(second->setObject("c", 3));
  for (const auto* suite : {&first, &second}) {
    EXPECT_EQ((*suite)->objects(), (Dictionary{{"a", 1}, {"b", 2}, {"c", 3}}));
  }
}

TEST_F(UserDefaultsPort, ARemovedSettingIsGoneForEveryReaderAndMayBeAbsentAlready) {
  const auto suite = open();
  ASSERT_TRUE(suite->setObject("KVMainSensor", "TC0P"));
  ASSERT_TRUE(suite->setObject("KVOpenAtLogin", true));
  ASSERT_TRUE(suite->removeObject("KVMainSensor"));
  EXPECT_FALSE(suite->object("KVMainSensor"));
  EXPECT_FALSE(open()->object("KVMainSensor"));
  EXPECT_EQ(open()->object("KVOpenAtLogin"), PropertyListValue(true));
  EXPECT_TRUE(suite->removeObject("KVMainSensor"));
}

TEST_F(UserDefaultsPort, AnObjectOfEachKindComesBackAsItWas) {
  const Dictionary all = {{"truth", true},
                          {"whole", std::int64_t{1} << 40},
                          {"real", 0.5},
                          {"text", "Grüße"},
                          {"data", PropertyListValue::Data{std::byte{0}, std::byte{255}}},
                          {"items", PropertyListValue::Array{Dictionary{{"fan_control", false}}}}};
  const auto suite = open();
  for (const auto& [key, value] : all) {
    EXPECT_TRUE(suite->setObject(key, value));
    EXPECT_EQ(suite->object(key), value) << key;
  }
  EXPECT_EQ(open()->objects(), all);
}

TEST_F(UserDefaultsPort, ADefaultIsStoredOnlyIfTheKeyIsStillAbsent) {
  const auto suite = open();
  EXPECT_EQ(suite->setObjectIfAbsent("KVTempUnitCelsius", true), PropertyListValue(true));
  EXPECT_EQ(open()->object("KVTempUnitCelsius"), PropertyListValue(true));
  ASSERT_TRUE(open()->setObject("KVShowIconInMenu", false));
  EXPECT_EQ(suite->setObjectIfAbsent("KVShowIconInMenu", true), PropertyListValue(false));
  EXPECT_EQ(open()->object("KVShowIconInMenu"), PropertyListValue(false));
}

TEST_F(UserDefaultsPort, AChangeStartsFromWhatIsStoredNow) {
  const auto suite = open();
  EXPECT_FALSE(suite->object("count"));
  const auto next = [](const std::optional<PropertyListValue>& held) {
    return std::optional<PropertyListValue>(held ? held->integerValue() + 1 : 0);
  };
  for (const SuiteWrite reason : {SuiteWrite::kChoice, SuiteWrite::kDefault}) {
    ASSERT_TRUE(open()->setObject("count", 1));
    EXPECT_EQ(suite->changeObject("count", next, reason), PropertyListValue(2));
    EXPECT_EQ(open()->object("count"), PropertyListValue(2));
  }
  EXPECT_EQ(suite->changeObject("absent", next, SuiteWrite::kChoice), PropertyListValue(0));
}

TEST_F(UserDefaultsPort, AChangeToNothingLeavesTheKeyAsItIs) {
  const auto suite = open();
  const auto leave = [](const auto&) { return std::optional<PropertyListValue>(); };
  EXPECT_EQ(suite->changeObject("a", leave, SuiteWrite::kChoice), std::nullopt);
  EXPECT_TRUE(suite->objects().empty());
  ASSERT_TRUE(suite->setObject("a", 1));
  EXPECT_EQ(suite->changeObject("a", leave, SuiteWrite::kChoice), PropertyListValue(1));
  EXPECT_EQ(suite->objects(), (Dictionary{{"a", 1}}));
}

}  // namespace
}  // namespace kelvora::testing
