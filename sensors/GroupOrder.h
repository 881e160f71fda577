#pragma once

#include <vector>

#include "sensors/SensorNaming.h"

namespace kelvora {

/// Orders a reading by group, ungrouped sensors (group 0) last. Inside a group the order stays.
void sortByGroup(std::vector<NamedSensor>& reading);

}  // namespace kelvora
