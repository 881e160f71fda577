#pragma once

#include <cstdint>
#include <string>

#include "KelvoraCore/Sensor.h"

/// A reading written down scan by scan, slowly, to check the library's look-up table against. It
/// shares nothing with the library but the record.
namespace kelvora::reference {

/// Names the records of `raw` in place; returns those that belong to the reading.
SensorList nameSensors(const SensorList& catalogue, const SensorList& raw);

double computedValue(const std::string& key, std::uint64_t type, const SensorList& sensors);

SensorList computedSensors(const SensorList& sensors);

void sortByGroup(SensorList& sensors);

/// All of it: names, computed sensors, order.
SensorList reading(const SensorList& catalogue, const SensorList& raw);

}  // namespace kelvora::reference
