#include "tools/kelvora/SensorGroups.h"

#include <algorithm>
#include <iterator>

#include "KelvoraCore/Sensor.h"

#include "tools/kelvora/SensorText.h"

namespace kelvora::tool {

namespace {

struct GroupRow {
  std::uint64_t group;
  const char* name;
  const char* headingKey;  ///< in the tables of texts
  const char* heading;     ///< in English
};

constexpr GroupRow kGroups[] = {
    {SensorGroupCPU, "cpu", "group-cpu-name", "CPU"},
    {SensorGroupGPU, "gpu", "group-gpu-name", "GPU"},
    {SensorGroupMemory, "memory", "group-memory-name", "Memory"},
    {SensorGroupMainboard, "mainboard", "group-mainboard-name", "Mainboard and chipset"},
    {SensorGroupAirflow, "airflow", "group-airflow-name", "Airflow and wireless"},
    {SensorGroupStorage, "storage", "group-storage-name", "Storage"},
    {SensorGroupDriveBay, "drivebay", "group-drivebay-name", "Drive bays"},
    {SensorGroupBattery, "battery", "group-battery-name", "Battery"},
    {SensorGroupPowerSupply, "power", "group-power-name", "Power supply and power management"},
    {SensorGroupDisplay, "display", "group-display-name", "Display"},
    {SensorGroupFan, "fan", "category-fan-name", "Fans"},
};

// For a sensor of no group above.
constexpr GroupRow kUnknownGroup{0, "unknown", "group-unknown-name", "Unknown sensors"};

const GroupRow& rowOf(std::uint64_t group) {
  const auto* row = std::ranges::find(kGroups, group, &GroupRow::group);
  return row == std::end(kGroups) ? kUnknownGroup : *row;
}

}  // namespace

std::string groupHeading(std::uint64_t group, const KVLocalized::Texts& texts) {
  const GroupRow& row = rowOf(group);
  return localizedText(row.headingKey, row.heading, texts);
}

std::string groupName(std::uint64_t group) { return rowOf(group).name; }

std::vector<std::string> groupNames() {
  std::vector<std::string> names;
  for (const GroupRow& row : kGroups) {
    names.emplace_back(row.name);
  }
  names.emplace_back(kUnknownGroup.name);
  return names;
}

}  // namespace kelvora::tool
