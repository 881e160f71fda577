#include "KelvoraCore/HIDWrapper.h"

#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ForwardingPorts.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {
namespace {

using platform::RecordedHIDService;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Optional;
using ::testing::Pair;

RecordedHIDService temperature(std::optional<std::string> product, double value) {
  return {0xff00, 5, std::move(product), {{15, value}}};
}

RecordedHIDService voltage(std::string product, double value) {
  return {0xff08, 3, std::move(product), {{25, value}}};
}

std::unique_ptr<Platform> macWithServices(std::vector<RecordedHIDService> services) {
  platform::RecordedMachine machine;
  machine.hid = std::move(services);
  return recordedPlatform(std::move(machine));
}

// Services that record the calls they receive.
class ScriptedService : public platform::HIDService {
 public:
  explicit ScriptedService(std::vector<std::string>& log) : log_(log) {}
  std::optional<std::string> copyProperty(std::string_view name) const override {
    log_.push_back("property " + std::string(name));
    return "PMU tdie1";
  }
  std::unique_ptr<platform::HIDEvent> copyEvent(std::int64_t type, std::int32_t options,
                                                std::int64_t timestamp) const override {
    log_.push_back("event " + std::to_string(type) + " " + std::to_string(options) + " " +
                   std::to_string(timestamp));
    return std::make_unique<Event>(log_);
  }

 private:
  class Event : public platform::HIDEvent {
   public:
    explicit Event(std::vector<std::string>& log) : log_(log) {}
    double floatValue(std::int32_t field) const override {
      log_.push_back("field " + std::to_string(field));
      return 1;
    }

   private:
    std::vector<std::string>& log_;
  };

  std::vector<std::string>& log_;
};

class ScriptedClient : public platform::HIDEventSystemClient {
 public:
  ScriptedClient(std::vector<std::string>& log, int services) : log_(log), services_(services) {}
  void setMatching(const std::map<std::string, std::int32_t>& matching) override {
    for (const auto& [key, value] : matching) {
      log_.push_back(key + "=" + std::to_string(value));
    }
  }
  std::optional<std::vector<std::unique_ptr<platform::HIDService>>> copyServices() override {
    std::vector<std::unique_ptr<platform::HIDService>> services;
    services.reserve(static_cast<std::size_t>(services_));
    for (int i = 0; i < services_; ++i) {
      services.push_back(std::make_unique<ScriptedService>(log_));
    }
    return services;
  }

 private:
  std::vector<std::string>& log_;
  int services_;
};

TEST(AppleSiliconSensors, AsksForPageUsageProductAndTheFirstFieldOfOneEvent) {
  const auto platform = macWithServices({});
  auto& hid = wrapPort<ForwardingHIDEventSystem>(platform->ports().hid);
  std::vector<std::string> log;
  hid.onCreateClient = [&] { return std::make_unique<ScriptedClient>(log, 1); };
  EXPECT_TRUE(AppleSiliconSensors(65280, 5, 15, *platform));
  EXPECT_THAT(log, ElementsAre("PrimaryUsage=5", "PrimaryUsagePage=65280", "property Product",
                               "event 15 0 0", "field 983040"));
  log.clear();
  EXPECT_TRUE(AppleSiliconSensors(65288, 3, 25, *platform));
  EXPECT_THAT(log, ElementsAre("PrimaryUsage=3", "PrimaryUsagePage=65288", "property Product",
                               "event 25 0 0", "field 1638400"));
  EXPECT_EQ(hid.createdClients, 2);
}

TEST(AppleSiliconSensors, ReturnsNoneWhenNoServiceMatchesOrThereIsNoClient) {
  const auto platform = macWithServices({temperature("PMU tdie1", 40)});
  EXPECT_EQ(AppleSiliconSensors(65280, 6, 15, *platform), std::nullopt);
  auto& hid = wrapPort<ForwardingHIDEventSystem>(platform->ports().hid);
  std::vector<std::string> log;
  hid.onCreateClient = [&] { return std::make_unique<ScriptedClient>(log, 0); };
  EXPECT_EQ(AppleSiliconSensors(65280, 5, 15, *platform), std::nullopt);
  hid.onCreateClient = [] { return nullptr; };
  EXPECT_EQ(AppleSiliconSensors(65280, 5, 15, *platform), std::nullopt);
}

TEST(AppleSiliconSensors, ReadsTheCurrentPlatformByDefault) {
  platform::RecordedMachine machine;
  machine.hid = {temperature("PMU tdie1", 41.25)};
  installRecordedPlatform(std::move(machine));
  EXPECT_THAT(AppleSiliconSensors(65280, 5, 15), Optional(ElementsAre(Pair("PMU tdie1", 41.25))));
  EXPECT_EQ(HIDWrapper().getAllSensors().size(), 1U);
}

TEST(AppleSiliconSensors, KeepsTheLaterOfTwoServicesWithOneName) {
  const auto platform = macWithServices(
      {temperature("gas gauge", 30), temperature("other", 1), temperature("gas gauge", 20)});
  EXPECT_THAT(AppleSiliconSensors(65280, 5, 15, *platform),
              Optional(ElementsAre(Pair("gas gauge", 20.0), Pair("other", 1.0))));
}

TEST(AppleSiliconSensors, SkipsServicesWithoutANameOrAnEvent) {
  const auto platform =
      macWithServices({temperature(std::nullopt, 30), {0xff00, 5, "no event", {}}});
  EXPECT_THAT(AppleSiliconSensors(65280, 5, 15, *platform), Optional(IsEmpty()));
}

TEST(HIDWrapper, ReadsTemperaturesAndVoltagesEachByItsOwnUsage) {
  const auto platform = macWithServices({voltage("buck0", 0.75), temperature("PMU tdie1", 41.25)});
  const HIDWrapper wrapper(*platform);
  EXPECT_THAT(wrapper.getSensorsDictByType(0), Optional(ElementsAre(Pair("PMU tdie1", 41.25))));
  EXPECT_THAT(wrapper.getSensorsDictByType(2), Optional(ElementsAre(Pair("buck0", 0.75))));
}

TEST(HIDWrapper, ReturnsNoneForOtherTypesWithoutUsingTheEventSystem) {
  const auto platform = macWithServices({temperature("PMU tdie1", 41.25)});
  auto& hid = wrapPort<ForwardingHIDEventSystem>(platform->ports().hid);
  const HIDWrapper wrapper(*platform);
  for (const std::uint64_t type : {1U, 3U, 4U, 5U}) {
    EXPECT_EQ(wrapper.getSensorsDictByType(type), std::nullopt);
    EXPECT_EQ(wrapper.getSensorValueByKey("PMU tdie1", type), std::nullopt);
  }
  EXPECT_EQ(hid.createdClients, 0);
}

TEST(HIDWrapper, ListsTemperaturesBeforeVoltagesWithTheLimitsOfTheirKind) {
  const auto platform = macWithServices({voltage("buck0", 0.75), temperature("PMU tdie1", 41.25)});
  auto& hid = wrapPort<ForwardingHIDEventSystem>(platform->ports().hid);
  const SensorList sensors = HIDWrapper(*platform).getAllSensors();
  EXPECT_EQ(hid.createdClients, 2);
  ASSERT_EQ(sensors.size(), 2U);
  const char* const keys[] = {"PMU tdie1", "buck0"};
  for (std::size_t i = 0; i < 2; ++i) {
    EXPECT_EQ(sensors[i]->key, keys[i]);
    EXPECT_EQ(sensors[i]->name, keys[i]);
    EXPECT_EQ(sensors[i]->fullName, keys[i]);
    EXPECT_EQ(sensors[i]->minLimitValue, 0);
    EXPECT_EQ(sensors[i]->group, 0U);
    EXPECT_EQ(sensors[i]->platform, 511U);
    EXPECT_EQ(sensors[i]->sourceType, 1U);
    EXPECT_FALSE(sensors[i]->average);
  }
  EXPECT_EQ(sensors[0]->value, 41.25);
  EXPECT_EQ(sensors[0]->maxLimitValue, 110);
  EXPECT_EQ(sensors[0]->type, 0U);
  EXPECT_EQ(sensors[1]->value, 0.75);
  EXPECT_EQ(sensors[1]->maxLimitValue, 0);
  EXPECT_EQ(sensors[1]->type, 2U);
}

TEST(HIDWrapper, GivesTemperaturesLimitsThatHold110ButNot0) {
  const auto platform = macWithServices(
      {temperature("at 110", 110), temperature("zero", 0), temperature("hotter", 110.5)});
  std::vector<std::string> valid;
  for (const SensorPtr& sensor : HIDWrapper(*platform).getAllSensors()) {
    if (sensor->isValidValue()) {
      valid.push_back(sensor->key);
    }
  }
  EXPECT_THAT(valid, ElementsAre("at 110"));
}

TEST(HIDWrapper, ListsReadingsOfZero) {
  const auto platform = macWithServices({temperature("cold", 0), voltage("off", 0)});
  const HIDWrapper wrapper(*platform);
  EXPECT_EQ(wrapper.getAllSensors().size(), 2U);
  EXPECT_EQ(wrapper.getSensorValueByKey("cold", 0), 0.0);
  EXPECT_EQ(wrapper.getSensorValueByKey("off", 2), 0.0);
}

TEST(HIDWrapper, OfTwoPlatformsEachReadsItsOwnServices) {
  const auto first = macWithServices({temperature("PMU tdie1", 41.25)});
  const auto second = macWithServices({temperature("PMU tdie1", 52.5)});
  const HIDWrapper firstWrapper(*first);
  const HIDWrapper secondWrapper(*second);
  EXPECT_EQ(firstWrapper.getSensorValueByKey("PMU tdie1", 0), 41.25);
  EXPECT_EQ(secondWrapper.getSensorValueByKey("PMU tdie1", 0), 52.5);
}

TEST(HIDWrapper, FindsAProductByItsExactNameAndReadsAfresh) {
  const auto platform = macWithServices({temperature("PMU tdie1", 41.25)});
  auto& hid = wrapPort<ForwardingHIDEventSystem>(platform->ports().hid);
  const HIDWrapper wrapper(*platform);
  EXPECT_EQ(wrapper.getSensorValueByKey("PMU tdie1", 0), 41.25);
  EXPECT_EQ(wrapper.getSensorValueByKey("PMU TDIE1", 0), std::nullopt);
  EXPECT_EQ(wrapper.getSensorValueByKey("PMU tdie", 0), std::nullopt);
  EXPECT_EQ(wrapper.getSensorValueByKey("PMU tdie1", 2), std::nullopt);
  EXPECT_EQ(hid.createdClients, 4);
}

TEST(HIDWrapper, IsEmptyOnAMachineWithoutSuchServices) {
  const auto platform = recordedPlatform({});
  const HIDWrapper wrapper(*platform);
  EXPECT_THAT(wrapper.getAllSensors(), IsEmpty());
  EXPECT_EQ(wrapper.getSensorsDictByType(0), std::nullopt);
  EXPECT_EQ(wrapper.getSensorValueByKey("PMU tdie1", 0), std::nullopt);
}

TEST(HIDWrapper, PassesReadingsThatAreNotFiniteOn) {
  const auto platform =
      macWithServices({temperature("hot", std::numeric_limits<double>::infinity())});
  EXPECT_EQ(HIDWrapper(*platform).getSensorValueByKey("hot", 0),
            std::numeric_limits<double>::infinity());
}

}  // namespace
}  // namespace kelvora::testing
