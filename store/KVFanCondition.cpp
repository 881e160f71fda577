#include "KelvoraCore/KVFanCondition.h"

#include <utility>
#include <variant>

#include "KelvoraCore/KVFanSet.h"
#include "KelvoraCore/KVSensor.h"

#include "base/Truncated.h"
#include "store/TypedFetch.h"

namespace kelvora {

namespace {

// In the order of attributeNames().
enum Name : std::size_t {
  kActive,
  kBatteryState,
  kCreated,
  kSensorKey,
  kThreshold,
  kExternalDisplayConnected
};

// A text as the system's own formats print it.
std::string textOf(const ManagedValue& value) {
  const auto* text = std::get_if<std::string>(&value);
  return text == nullptr ? "(null)" : *text;
}

}  // namespace

const std::vector<std::string>& KVFanCondition::attributeNames() {
  static const std::vector<std::string> names{
      "active", "batteryState", "created", "sensorKey", "threshold", "externalDisplayConnected"};
  return names;
}

bool KVFanCondition::active() const { return booleanAt(kActive); }
void KVFanCondition::setActive(bool value) { setValueAt(kActive, value); }

std::int16_t KVFanCondition::batteryState() const {
  return static_cast<std::int16_t>(integerAt(kBatteryState));
}
void KVFanCondition::setBatteryState(std::int16_t value) {
  setValueAt(kBatteryState, std::int64_t{value});
}

std::optional<ManagedDate> KVFanCondition::created() const {
  return valueAs<ManagedDate>(kCreated);
}
void KVFanCondition::setCreated(ManagedDate value) { setValueAt(kCreated, value); }

std::string KVFanCondition::sensorKey() const { return textAt(kSensorKey); }
void KVFanCondition::setSensorKey(std::string value) { setTextAt(kSensorKey, std::move(value)); }

double KVFanCondition::threshold() const { return doubleAt(kThreshold); }
void KVFanCondition::setThreshold(double value) { setValueAt(kThreshold, value); }

bool KVFanCondition::externalDisplayConnected() const {
  return booleanAt(kExternalDisplayConnected);
}
void KVFanCondition::setExternalDisplayConnected(bool value) {
  setValueAt(kExternalDisplayConnected, value);
}

KVSensorPtr KVFanCondition::sensor() const {
  return fetchFirst<KVSensor>(managedObjectContext(), Predicate("key = %@", {sensorKey()}));
}

std::string KVFanCondition::description() const {
  const KVFanSetPtr set = fanSet();
  return "Fan set: " + (set == nullptr ? "(null)" : textOf(set->attribute("name"))) +
         "\nSensor: " + textOf(valueAt(kSensorKey)) +
         "\nThreshold: " + std::to_string(truncated(threshold())) +
         "\nBattery State: " + std::to_string(batteryState()) +
         "\nExternal Display: " + (externalDisplayConnected() ? "1" : "0");
}

}  // namespace kelvora
