#include "KelvoraCore/KVSensor.h"

#include <utility>

namespace kelvora {

namespace {

// In the order of attributeNames().
enum Name : std::size_t {
  kKey,
  kName,
  kFullName,
  kValue,
  kMinValue,
  kMaxValue,
  kRecordedMinValue,
  kRecordedMaxValue,
  kGroup,
  kSourceType,
  kPlatform,
  kAverage,
  kIsCustom
};

}  // namespace

const std::vector<std::string>& KVSensor::attributeNames() {
  static const std::vector<std::string> names{
      "key",      "name",       "fullName",         "value",
      "minValue", "maxValue",   "recordedMinValue", "recordedMaxValue",
      "group",    "sourceType", "platform",         "average",
      "isCustom"};
  return names;
}

std::string KVSensor::key() const { return textAt(kKey); }
void KVSensor::setKey(std::string value) { setTextAt(kKey, std::move(value)); }

std::string KVSensor::name() const { return textAt(kName); }
void KVSensor::setName(std::string value) { setTextAt(kName, std::move(value)); }

std::string KVSensor::fullName() const { return textAt(kFullName); }
void KVSensor::setFullName(std::string value) { setTextAt(kFullName, std::move(value)); }

double KVSensor::value() const { return doubleAt(kValue); }
void KVSensor::setValue(double value) { setValueAt(kValue, value); }

double KVSensor::minValue() const { return doubleAt(kMinValue); }
void KVSensor::setMinValue(double value) { setValueAt(kMinValue, value); }

double KVSensor::maxValue() const { return doubleAt(kMaxValue); }
void KVSensor::setMaxValue(double value) { setValueAt(kMaxValue, value); }

double KVSensor::recordedMinValue() const { return doubleAt(kRecordedMinValue); }
void KVSensor::setRecordedMinValue(double value) { setValueAt(kRecordedMinValue, value); }

double KVSensor::recordedMaxValue() const { return doubleAt(kRecordedMaxValue); }
void KVSensor::setRecordedMaxValue(double value) { setValueAt(kRecordedMaxValue, value); }

std::int16_t KVSensor::group() const { return static_cast<std::int16_t>(integerAt(kGroup)); }
void KVSensor::setGroup(std::int16_t value) { setValueAt(kGroup, std::int64_t{value}); }

std::int16_t KVSensor::sourceType() const {
  return static_cast<std::int16_t>(integerAt(kSourceType));
}
void KVSensor::setSourceType(std::int16_t value) { setValueAt(kSourceType, std::int64_t{value}); }

std::int16_t KVSensor::platform() const { return static_cast<std::int16_t>(integerAt(kPlatform)); }
void KVSensor::setPlatform(std::int16_t value) { setValueAt(kPlatform, std::int64_t{value}); }

bool KVSensor::average() const { return booleanAt(kAverage); }
void KVSensor::setAverage(bool value) { setValueAt(kAverage, value); }

bool KVSensor::isCustom() const { return booleanAt(kIsCustom); }
void KVSensor::setIsCustom(bool value) { setValueAt(kIsCustom, value); }

}  // namespace kelvora
