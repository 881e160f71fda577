#include "hardware/RawReading.h"

namespace kelvora {

namespace {

// A record that served an earlier reading mostly holds the same texts, and to compare short texts
// takes half the time of copying them.
void replace(std::string& text, const std::string& replacement) {
  if (text != replacement) {
    text = replacement;
  }
}

}  // namespace

void RawSensor::copyTo(Sensor& record) const {
  if (prototype->name.empty()) {
    copyTo(record, *key, *key);
  } else {
    copyTo(record, prototype->name, prototype->fullName);
  }
}

void RawSensor::copyTo(Sensor& record, const std::string& name, const std::string& fullName) const {
  replace(record.key, *key);
  replace(record.name, name);
  replace(record.fullName, fullName);
  record.value = value;
  record.minLimitValue = prototype->minLimitValue;
  record.maxLimitValue = prototype->maxLimitValue;
  record.type = prototype->type;
  record.group = prototype->group;
  record.platform = prototype->platform;
  record.sourceType = prototype->sourceType;
  record.average = prototype->average;
}

void RawReading::add(Sensor sensor) {
  const Sensor& own = own_.emplace_back(std::move(sensor));
  add({&own.key, &own, own.value});
}

}  // namespace kelvora
