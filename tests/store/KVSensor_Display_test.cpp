
#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"

#include "tests/store/StoredSensorFixture.h"
#include "tests/support/NotANumber.h"

namespace kelvora {
namespace {

using testing::kWithoutCategory;

using testing::kNaN;

class SensorDisplay : public testing::StoredSensorFixture {};

TEST_F(SensorDisplay, TheCategoryGivesTheType) {
  for (const int type : {0, 1, 2, 3, 4, 7}) {
    EXPECT_EQ(sensorOf(type)->categoryType(), static_cast<std::uint32_t>(type));
  }
  EXPECT_EQ(sensorOf(-1)->categoryType(), 0xFFFFFFFFU);
  EXPECT_EQ(sensorOf(kWithoutCategory)->categoryType(), KVSensor::kNoCategoryType);
}

TEST_F(SensorDisplay, OnlyOneKeyIsTheProcessorsProximity) {
  EXPECT_TRUE(sensorOf(0, "TC0P")->isCPUProximitySensor());
  EXPECT_FALSE(sensorOf(0, "TC0p")->isCPUProximitySensor());
  EXPECT_FALSE(sensorOf(0, "TC0P ")->isCPUProximitySensor());
}

TEST_F(SensorDisplay, AnUnknownSensorHasItsKeyForBothNamesAndNoGroup) {
  const auto sensor = sensorOf(0, "TXXX");
  EXPECT_TRUE(sensor->isUnknownSensor());
  sensor->setGroup(SensorGroupCPU);
  EXPECT_FALSE(sensor->isUnknownSensor());
  sensor->setGroup(SensorGroupNone);
  sensor->setName("Other");
  EXPECT_FALSE(sensor->isUnknownSensor());
  sensor->setName("TXXX");
  sensor->setFullName("Other");
  EXPECT_FALSE(sensor->isUnknownSensor());
}

struct Description {
  int type;
  const char* language;
  const char* description;
};

constexpr Description kDescriptions[] = {
    {0, "en", "Inner Rail Temperature (K)"},
    {0, "de", "Temperatur Inner Rail (K)"},
    {2, "en", "Inner Rail Voltage (K)"},
    {2, "de", "Spannung Inner Rail (K)"},
    {3, "en", "Inner Rail Current (K)"},
    {3, "de", "Strom Inner Rail (K)"},
    {4, "en", "Inner Rail Power (K)"},
    {4, "de", "Leistung Inner Rail (K)"},
    {1, "en", "Inner Rail"},
    {1, "de", "Lüfter Inner Rail"},
    {7, "en", "Inner Rail (K)"},
    {7, "de", "Inner Rail (K)"},
    {-1, "de", "Inner Rail (K)"},
    {kWithoutCategory, "de", "Inner Rail (K)"},
    // No table for this language: the keys themselves.
    {0, "pt", "Temp-Inner Rail (K)"},
    {1, "pt", "Fan-Inner Rail"},
};

TEST_F(SensorDisplay, AnUntranslatedSensorIsDescribedByTheFormatOfItsType) {
  for (const Description& expected : kDescriptions) {
    settings->setCurrentLanguage(expected.language);
    const auto sensor = sensorOf(expected.type);
    sensor->setName("Rail");
    sensor->setFullName("Inner Rail");
    EXPECT_EQ(sensor->sensorDescription(), expected.description) << expected.type;
    EXPECT_EQ(sensor->sensorDescription(KVLocalized::Texts(*settings, *platform)),
              expected.description);
  }
}

TEST_F(SensorDisplay, ATranslatedKeyIsTheLabel) {
  settings->setCurrentLanguage("de");
  const auto sensor = sensorOf(SensorTypeTemperature, "Average CPU");
  sensor->setFullName("Other");
  EXPECT_EQ(sensor->sensorDescription(), "Durchschnittstemperatur CPU (Average CPU)");
}

TEST_F(SensorDisplay, OnlyFansAreLookedUpByName) {
  settings->setCurrentLanguage("de");
  const auto sensor = sensorOf(SensorTypeVoltage, "VC0C");
  sensor->setName("Fan 1");
  sensor->setFullName("Rail");
  EXPECT_EQ(sensor->sensorDescription(), "Spannung Rail (VC0C)");
}

TEST_F(SensorDisplay, TheTranslatedNameOfAFanComesBeforeTheFormatOfFans) {
  const auto fan = sensorOf(SensorTypeFan, "0");
  fan->setName("Fan 1");
  fan->setFullName("Left Fan");
  EXPECT_EQ(fan->sensorDescription(), "Left Fan");
  settings->setCurrentLanguage("de");
  EXPECT_EQ(fan->sensorDescription(), "Lüfter 1");
}

TEST_F(SensorDisplay, APlaceholderInAFullNameStays) {
  const auto sensor = sensorOf(SensorTypeTemperature);
  sensor->setFullName("Core %@ of %@");
  EXPECT_EQ(sensor->sensorDescription(), "Core %@ of %@ Temperature (K)");
}

struct Conversion {
  int type;
  bool celsius;
  std::int64_t fanValueType;
  double value, minimum, maximum;
  const char* fullText;
  const char* tidyText;
  const char* unit;  // null for none
};

// Stored: value 2400, limits 1200 and 6000.
constexpr Conversion kConversions[] = {
    {0, true, 0, 2400, 1200, 6000, "2400°C", "2400°", "°C"},
    {0, true, 1, 2400, 1200, 6000, "2400°C", "2400°", "°C"},
    {0, false, 0, 4352, 2192, 10832, "4352°F", "4352°", "°F"},
    {0, false, 1, 4352, 2192, 10832, "4352°F", "4352°", "°F"},
    {1, true, 0, 2400, 1200, 6000, "2400rpm", "2400", "rpm"},
    {1, false, 0, 2400, 1200, 6000, "2400rpm", "2400", "rpm"},
    {1, true, 2, 2400, 1200, 6000, "2400rpm", "2400", "rpm"},
    {1, true, 1, 0.25, 0, 1, "25%", "25%", "%"},
    {1, false, 1, 0.25, 0, 1, "25%", "25%", "%"},
    {2, true, 0, 2400, 1200, 6000, "2400.00V", "2400.00V", "V"},
    {2, false, 1, 2400, 1200, 6000, "2400.00V", "2400.00V", "V"},
    {3, true, 0, 2400, 1200, 6000, "2400.00A", "2400.00A", "A"},
    {3, false, 1, 2400, 1200, 6000, "2400.00A", "2400.00A", "A"},
    {4, true, 0, 2400, 1200, 6000, "2400.00W", "2400.00W", "W"},
    {4, false, 1, 2400, 1200, 6000, "2400.00W", "2400.00W", "W"},
    {7, true, 0, 2400, 1200, 6000, "2400.00", "2400.00", nullptr},
    {7, false, 1, 2400, 1200, 6000, "2400.00", "2400.00", nullptr},
    {-1, false, 1, 2400, 1200, 6000, "2400.00", "2400.00", nullptr},
    {kWithoutCategory, true, 0, 2400, 1200, 6000, "2400.00", "2400.00", nullptr},
    {kWithoutCategory, false, 1, 2400, 1200, 6000, "2400.00", "2400.00", nullptr},
};

void expectShown(const KVSensor& sensor, KVSettings& settings, const Conversion& expected) {
  const auto unit = expected.unit ? std::optional<std::string>(expected.unit) : std::nullopt;
  EXPECT_EQ(sensor.convertedValue(), expected.value);
  EXPECT_EQ(sensor.convertedMinValue(), expected.minimum);
  EXPECT_EQ(sensor.convertedMaxValue(), expected.maximum);
  EXPECT_EQ(sensor.fullStringValue(), expected.fullText);
  EXPECT_EQ(sensor.tidyStringValue(), expected.tidyText);
  EXPECT_EQ(sensor.unitString(), unit);
  EXPECT_EQ(sensor.convertedValue(settings), expected.value);
  EXPECT_EQ(sensor.convertedMinValue(settings), expected.minimum);
  EXPECT_EQ(sensor.convertedMaxValue(settings), expected.maximum);
  EXPECT_EQ(sensor.fullStringValue(settings), expected.fullText);
  EXPECT_EQ(sensor.tidyStringValue(settings), expected.tidyText);
  EXPECT_EQ(sensor.unitString(settings), unit);
}

TEST_F(SensorDisplay, ValuesLimitsAndTextsFollowTheTypeAndTheSettings) {
  for (const Conversion& expected : kConversions) {
    SCOPED_TRACE(::testing::Message()
                 << expected.type << ' ' << expected.celsius << ' ' << expected.fanValueType);
    settings->setTempUnitCelsius(expected.celsius);
    settings->setFanValueType(expected.fanValueType);
    const auto sensor = sensorOf(expected.type);
    sensor->setValue(2400);
    sensor->setMinValue(1200);
    sensor->setMaxValue(6000);
    expectShown(*sensor, *settings, expected);
  }
}

TEST_F(SensorDisplay, TheSettingsThatAreGivenCount) {
  KVSettingsSnapshot other(*settings);
  other.setTempUnitCelsius(false);
  other.setFanValueType(1);
  const auto sensor = sensorOf(SensorTypeTemperature);
  sensor->setValue(45.5);
  EXPECT_EQ(sensor->fullStringValue(other), "114°F");
  EXPECT_EQ(sensor->fullStringValue(), "46°C");
  EXPECT_EQ(fanOf(3600)->convertedMaxValue(other), 1);
  EXPECT_EQ(fanOf(3600)->convertedMaxValue(), 6000);
}

struct Fraction {
  double minimum;
  double maximum;
  double speed;
  double fraction;
};

constexpr Fraction kFractions[] = {
    {1200, 6000, 3600, 0.5},
    {1200, 6000, 500, 0},
    {1200, 6000, 0, 0},
    {1200, 6000, 9000, 1},
    {1200, 6000, 6000, 1},
    {1200, 6000, 1200, 0},
    {6000, 1200, 3600, 0.5},
    // Two equal limits: 0 divided by 0, and infinities.
    {2000, 2000, 2000, 0},
    {2000, 2000, 2001, 1},
    {2000, 2000, 1999, 0},
    {0, 0, 0, 0},
    {1200, 6000, kNaN, 0},
};

TEST_F(SensorDisplay, AFansFractionOfItsRangeIsFrom0To1) {
  settings->setFanValueType(1);
  for (const Fraction& expected : kFractions) {
    const auto fan = fanOf(expected.speed, expected.minimum, expected.maximum);
    EXPECT_EQ(fan->convertedValue(), expected.fraction) << expected.minimum << expected.speed;
  }
  EXPECT_EQ(fanOf(500)->fullStringValue(), "0%");
}

TEST_F(SensorDisplay, ANegativeValueMeansNoReading) {
  for (const int type : {0, 1, 2, 3, 4, 7}) {
    const auto sensor = sensorOf(type);
    sensor->setValue(-1);
    EXPECT_EQ(sensor->fullStringValue(), "-") << type;
    EXPECT_EQ(sensor->tidyStringValue(), "-") << type;
  }
}

TEST_F(SensorDisplay, AssignedLimitsAreNeverReadBack) {
  const auto sensor = sensorOf(SensorTypeVoltage);
  sensor->setConvertedMinValue(7);
  sensor->setConvertedMaxValue(8);
  EXPECT_EQ(sensor->convertedMinValue(), 0);
  EXPECT_EQ(sensor->convertedMaxValue(), 0);
}

TEST_F(SensorDisplay, BecomesARecordWithTheSameNamesValuesAndCodes) {
  const auto sensor = sensorOf(SensorTypePower, "PC0C");
  sensor->setName("CPU");
  sensor->setFullName("CPU Core");
  sensor->setValue(1.5);
  sensor->setMinValue(2.5);
  sensor->setMaxValue(3.5);
  sensor->setGroup(SensorGroupMemory);
  sensor->setSourceType(SensorSourceComputed);
  sensor->setPlatform(511);
  sensor->setAverage(true);
  const SensorPtr record = sensor->toSensor();
  EXPECT_EQ(record->key, "PC0C");
  EXPECT_EQ(record->name, "CPU");
  EXPECT_EQ(record->fullName, "CPU Core");
  EXPECT_EQ(record->value, 1.5);
  EXPECT_EQ(record->minLimitValue, 2.5);
  EXPECT_EQ(record->maxLimitValue, 3.5);
  EXPECT_EQ(record->type, SensorTypePower);
  EXPECT_EQ(record->group, SensorGroupMemory);
  EXPECT_EQ(record->platform, 511U);
  EXPECT_EQ(record->sourceType, SensorSourceComputed);
  EXPECT_TRUE(record->average);
  EXPECT_NE(sensor->toSensor(), record);
}

TEST_F(SensorDisplay, ARecordWithoutACategoryIsOfNoKnownType) {
  const auto sensor = sensorOf(kWithoutCategory);
  sensor->setValue(50);
  sensor->setMaxValue(110);
  EXPECT_EQ(sensor->toSensor()->type, 0xFFFFFFFFU);
  EXPECT_FALSE(sensor->toSensor()->isValidValue());
}

}  // namespace
}  // namespace kelvora
