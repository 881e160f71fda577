#pragma once

#include <string>
#include <vector>

#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::platform {

/// The computer's own batteries in a folder like /sys/class/power_supply, those that are there
/// first, each group by name. Their properties have the names and units of a Mac's: Voltage in mV,
/// Amperage in mA and negative while the battery discharges, capacities in mAh, ManufactureDate
/// packed; what the kernel does not report is absent. A bay without a battery has one property,
/// BatteryInstalled. The battery of a mouse is not the computer's.
std::vector<RecordedRegistryEntry> batteriesOf(const std::string& folder);

}  // namespace kelvora::platform
