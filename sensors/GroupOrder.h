#pragma once

#include "KelvoraCore/Sensor.h"

namespace kelvora {

/// Orders a reading by group, ungrouped sensors (group 0) last. Inside a group the order stays.
void sortByGroup(SensorList& reading);

}  // namespace kelvora
