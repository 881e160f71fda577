#include <limits>
#include <set>

#include "KelvoraCore/KVLocalizationKeys.h"
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tests/store/StoredSensorFixture.h"
#include "tests/support/NotANumber.h"

namespace kelvora {
namespace {

using testing::kWithoutCategory;

using testing::kNaN;

class SensorStatus : public testing::StoredSensorFixture {};

struct TemperatureCase {
  const char* key;
  double celsius;
  int status;
};

constexpr TemperatureCase kTemperatures[] = {
    {"TC0P", 65.9, 1},    {"TC0P", 66, 2},      {"TC0P", 89.9, 2},   {"TC0P", 90, 2},
    {"TC0P", 99.9, 2},    {"TC0P", 100, 3},     {"TC0D", 65.9, 1},   {"TC0D", 66, 1},
    {"TC0D", 89.9, 1},    {"TC0D", 90, 2},      {"TC0D", 99.9, 2},   {"TC0D", 100, 3},
    {"TC0D", 0, 1},       {"TC0D", -5, 1},      {"TC0D", -123.9, 1}, {"TC0D", -124, 13},
    {"TC0D", -125, 12},   {"TC0D", -126, 11},   {"TC0D", -127, 9},   {"TC0D", -128, 10},
    {"TC0D", -124.5, 14}, {"TC0D", -127.5, 14}, {"TC0D", -129, 14},  {"TC0D", -130, 14},
    {"TC0P", -127, 9},    {"TC0P", -128, 10},   {"tc0p", 66, 1},     {"TC0D", kNaN, 2},
};

TEST_F(SensorStatus, OfATemperature) {
  for (const TemperatureCase& expected : kTemperatures) {
    const auto sensor = sensorOf(SensorTypeTemperature, expected.key);
    sensor->setValue(expected.celsius);
    EXPECT_EQ(sensor->statusEnum(), expected.status) << expected.key << ' ' << expected.celsius;
    EXPECT_EQ(sensor->isNormalCondition(), expected.status == 1) << expected.celsius;
  }
}

struct FanCase {
  double minimum;
  double maximum;
  double speed;
  int status;
};

constexpr FanCase kFans[] = {
    {1200, 6000, 0, 4},
    {1200, 6000, -0.0, 4},
    {1200, 6000, 1, 5},
    {1200, 6000, 4799, 5},
    {1200, 6000, 4800, 6},
    {1200, 6000, 5519, 6},
    {1200, 6000, 5520, 7},
    {1200, 6000, 9000, 7},
    {1200, 6000, -5, 5},
    // The range is absolute and begins at the lower limit: 6000 + 3600 and 6000 + 4320.
    {6000, 1200, 0, 4},
    {6000, 1200, 9599, 5},
    {6000, 1200, 9600, 6},
    {6000, 1200, 10320, 7},
    // Without a range every speed from the limit on is very high.
    {0, 0, 1, 7},
    {2000, 2000, 1999, 5},
    {2000, 2000, 2000, 7},
};

TEST_F(SensorStatus, OfAFan) {
  for (const FanCase& expected : kFans) {
    const auto fan = fanOf(expected.speed, expected.minimum, expected.maximum);
    EXPECT_EQ(fan->statusEnum(), expected.status) << expected.minimum << ' ' << expected.speed;
    EXPECT_EQ(fan->isNormalCondition(), expected.status == 5) << expected.speed;
  }
}

TEST_F(SensorStatus, OfAFanIsTheSameInBothFanValueTypes) {
  settings->setFanValueType(1);
  EXPECT_EQ(fanOf(4800)->statusEnum(), 6);
  EXPECT_EQ(fanOf(4799)->statusEnum(), 5);
}

struct OtherCase {
  bool isCustom;
  double value;
  int status;
};

constexpr OtherCase kOthers[] = {
    {false, 0, 8}, {false, 12.5, 8}, {false, -0.1, 14}, {false, -128, 14}, {false, kNaN, 14},
    {true, 0, 0},  {true, 0.1, 8},   {true, -0.1, 0},   {true, kNaN, 0},
};

TEST_F(SensorStatus, OfAnyOtherCategoryOrNone) {
  for (const int type : {2, 3, 4, 5, 7, -1, kWithoutCategory}) {
    for (const OtherCase& expected : kOthers) {
      const auto sensor = sensorOf(type, "TC0P");
      sensor->setIsCustom(expected.isCustom);
      sensor->setValue(expected.value);
      EXPECT_EQ(sensor->statusEnum(), expected.status) << type << ' ' << expected.value;
      EXPECT_EQ(sensor->isNormalCondition(), expected.status == 8) << type;
      EXPECT_EQ(sensor->statusExplanation(), std::nullopt) << type;
    }
  }
}

TEST_F(SensorStatus, ACustomTemperatureAndFanAreJudgedAsTheOthers) {
  const auto temperature = sensorOf(SensorTypeTemperature);
  temperature->setIsCustom(true);
  EXPECT_EQ(temperature->statusEnum(), 1);
  const auto fan = fanOf(0);
  fan->setIsCustom(true);
  EXPECT_EQ(fan->statusEnum(), 4);
}

TEST_F(SensorStatus, AnAssignedStatusIsNeverReadBack) {
  const auto sensor = sensorOf(SensorTypeTemperature);
  sensor->setStatusEnum(static_cast<KVSensorStatus>(1000));
  sensor->setIsNormalCondition(false);
  EXPECT_EQ(sensor->statusEnum(), 1);
  EXPECT_TRUE(sensor->isNormalCondition());
}

TEST_F(SensorStatus, NumbersOutsideTheTableAreRepresentable) {
  for (const std::int32_t number : {-1, 15, 1000, std::numeric_limits<std::int32_t>::max(),
                                    std::numeric_limits<std::int32_t>::min()}) {
    EXPECT_EQ(static_cast<std::int32_t>(static_cast<KVSensorStatus>(number)), number);
    EXPECT_EQ(KVSensor::statusDisplayKey(static_cast<KVSensorStatus>(number)), "");
  }
}

// The expected keys by their codes, written out.
TEST_F(SensorStatus, EachCodeFrom1To14HasItsDisplayKey) {
  const std::vector<std::string_view> keys{
      "",
      "sensor-status-display-normal-temp",
      "sensor-status-display-high-temp",
      "sensor-status-display-very-high-temp",
      "sensor-status-display-zero-speed",
      "sensor-status-display-normal-speed",
      "sensor-status-display-high-speed",
      "sensor-status-display-very-high-speed",
      "sensor-status-display-ok",
      "sensor-status-display-skipped",
      "sensor-status-display-temperature-can-not-be-read",
      "sensor-status-display-failed-to-initialize",
      "sensor-status-display-temperature-below-allowed-minimum",
      "sensor-status-display-unstable-temperature",
      "sensor-status-display-error",
  };
  for (std::size_t code = 0; code < keys.size(); ++code) {
    EXPECT_EQ(KVSensor::statusDisplayKey(static_cast<KVSensorStatus>(code)), keys[code]);
  }
  const auto tables = localizationKeys();
  EXPECT_EQ(std::ranges::count_if(
                tables, [](auto key) { return key.starts_with("sensor-status-display-"); }),
            14);
  for (std::size_t code = 1; code < keys.size(); ++code) {
    EXPECT_NE(std::ranges::find(tables, keys[code]), tables.end()) << keys[code];
  }
}

TEST_F(SensorStatus, IsDisplayedInTheUsersLanguage) {
  const auto sensor = sensorOf(SensorTypeTemperature);
  sensor->setValue(95);
  EXPECT_EQ(sensor->statusDisplay(), "High");
  settings->setCurrentLanguage("de");
  EXPECT_EQ(sensor->statusDisplay(), "Hoch");
  sensor->setValue(-128);
  EXPECT_EQ(sensor->statusDisplay(), "Temperatur nicht lesbar");
  settings->setCurrentLanguage("fr");
  EXPECT_EQ(sensor->statusDisplay(KVLocalized::Texts(*settings, *platform)),
            sensor->statusDisplay());
}

TEST_F(SensorStatus, WithoutAStatusIsDisplayedAsTwoDashes) {
  const auto custom = sensorOf(SensorTypeVoltage);
  custom->setIsCustom(true);
  EXPECT_EQ(custom->statusEnum(), 0);
  EXPECT_EQ(custom->statusDisplay(), "--");
  const auto discovered = sensorOf(SensorTypeVoltage, "VC0C");
  EXPECT_EQ(discovered->statusEnum(), 8);
  EXPECT_EQ(discovered->statusDisplay(), "OK");
}

TEST_F(SensorStatus, WithoutATableForTheLanguageItsKeyIsDisplayed) {
  settings->setCurrentLanguage("pt");
  EXPECT_EQ(sensorOf(SensorTypeTemperature)->statusDisplay(), "sensor-status-display-normal-temp");
}

struct TemperatureExplanation {
  const char* key;
  double celsius;
  const char* inCelsius;
  const char* inFahrenheit;
};

constexpr TemperatureExplanation kTemperatureExplanations[] = {
    {"TC0P", 65, "Sensor Temperature < 66°C", "Sensor Temperature < 151°F"},
    {"TC0P", 66, "Sensor Temperature >= 66°C", "Sensor Temperature >= 151°F"},
    {"TC0P", 100, "Sensor Temperature >= 100°C", "Sensor Temperature >= 212°F"},
    {"TC0D", 65, "Sensor Temperature < 90°C", "Sensor Temperature < 194°F"},
    {"TC0D", 90, "Sensor Temperature >= 90°C", "Sensor Temperature >= 194°F"},
    {"TC0D", 120, "Sensor Temperature >= 100°C", "Sensor Temperature >= 212°F"},
};

TEST_F(SensorStatus, ATemperatureIsExplainedByItsThresholdInTheUsersUnit) {
  for (const TemperatureExplanation& expected : kTemperatureExplanations) {
    const auto sensor = sensorOf(SensorTypeTemperature, expected.key);
    sensor->setValue(expected.celsius);
    settings->setTempUnitCelsius(true);
    EXPECT_EQ(sensor->statusExplanation(), expected.inCelsius);
    settings->setTempUnitCelsius(false);
    EXPECT_EQ(sensor->statusExplanation(), expected.inFahrenheit);
  }
}

TEST_F(SensorStatus, CodesOfAnSMCAreNotExplained) {
  const auto sensor = sensorOf(SensorTypeTemperature);
  for (const double reading : {-124, -125, -126, -127, -128, -130}) {
    sensor->setValue(reading);
    EXPECT_EQ(sensor->statusExplanation(), std::nullopt) << reading;
  }
}

TEST_F(SensorStatus, AFanIsExplainedInRevolutionsWhateverTheSetting) {
  for (const std::int64_t fanValueType : {0, 1}) {
    settings->setFanValueType(fanValueType);
    EXPECT_EQ(fanOf(0)->statusExplanation(), "Sensor Fan Speed = 0");
    EXPECT_EQ(fanOf(4799)->statusExplanation(), "Sensor Fan Speed < 4800rpm");
    EXPECT_EQ(fanOf(4800)->statusExplanation(), "Sensor Fan Speed >= 4800rpm");
    EXPECT_EQ(fanOf(5520)->statusExplanation(), "Sensor Fan Speed >= 5520rpm");
    EXPECT_EQ(settings->fanValueType(), fanValueType);
  }
}

TEST_F(SensorStatus, ExplanationsAreNotTranslated) {
  settings->setCurrentLanguage("de");
  const auto sensor = sensorOf(SensorTypeTemperature);
  EXPECT_EQ(sensor->statusExplanation(), "Sensor Temperature < 90°C");
}

TEST_F(SensorStatus, AnExplanationFollowsTheSettingsThatAreGiven) {
  KVSettingsSnapshot fahrenheit(*settings);
  fahrenheit.setTempUnitCelsius(false);
  const auto sensor = sensorOf(SensorTypeTemperature);
  EXPECT_EQ(sensor->statusExplanation(fahrenheit), "Sensor Temperature < 194°F");
  EXPECT_EQ(sensor->statusExplanation(), "Sensor Temperature < 90°C");
}

}  // namespace
}  // namespace kelvora
