#pragma once

#include <cstdint>
#include <string>

#include "KelvoraCore/Sensor.h"

/// How a reading comes about, written down scan by scan and as slowly as that is, to check the
/// library's indexed way against. Shares nothing with it but the record.
namespace kelvora::reference {

/// Names the records of `raw` in place; answers those that belong to the reading.
SensorList nameSensors(const SensorList& catalogue, const SensorList& raw);

double computedValue(const std::string& key, std::uint64_t type, const SensorList& sensors);

SensorList computedSensors(const SensorList& sensors);

void sortByGroup(SensorList& sensors);

/// All of it: names, computed sensors, order.
SensorList reading(const SensorList& catalogue, const SensorList& raw);

}  // namespace kelvora::reference
