#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/SensorController.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

/// A controller that also keeps what its wrapper reports.
class ListeningController : public SensorController {
 public:
  using SensorController::SensorController;
  void smcReadValueFailedWithError(const std::string& message) override {
    failures.push_back(message);
    SensorController::smcReadValueFailedWithError(message);
  }
  std::vector<std::string> failures;
};

struct GroupRow {
  std::uint64_t group;
  const char* heading;
};

constexpr GroupRow kGroups[] = {
    {SensorGroupCPU, "CPU"},
    {SensorGroupGPU, "GPU"},
    {SensorGroupMemory, "Memory"},
    {SensorGroupMainboard, "Mainboard and chipset"},
    {SensorGroupAirflow, "Airflow and wireless"},
    {SensorGroupStorage, "Storage"},
    {SensorGroupDriveBay, "Drive bays"},
    {SensorGroupBattery, "Battery"},
    {SensorGroupPowerSupply, "Power supply and power management"},
    {SensorGroupDisplay, "Display"},
    {SensorGroupFan, "Fans"},
};

std::string headingOf(std::uint64_t group) {
  const auto* row = std::ranges::find(kGroups, group, &GroupRow::group);
  return row == std::end(kGroups) ? "Unknown sensors" : row->heading;
}

std::string remarkOf(const Sensor& sensor) {
  if (sensor.sourceType == SensorSourceComputed) {
    return "computed";
  }
  if (sensor.type == SensorTypeFan) {
    return limitsText(sensor);
  }
  return "";
}

struct Line {
  std::uint64_t group;
  std::string name;
  std::string value;
  std::string key;
  std::string remark;
};

/// Widths of the columns in a terminal of some width; 0 is as wide as it takes.
struct Columns {
  Columns(const std::vector<Line>& lines, std::size_t terminal) {
    std::size_t remark = 0;
    for (const Line& line : lines) {
      name = std::max(name, displayWidth(line.name));
      value = std::max(value, displayWidth(line.value));
      key = std::max(key, displayWidth(line.key));
      remark = std::max(remark, displayWidth(line.remark));
    }
    const std::size_t whole = kIndent + name + kGap + value + kGap + key + kGap + remark;
    if (terminal != 0 && whole > terminal) {
      const std::size_t excess = whole - terminal;
      name = std::max(std::min(name, kLeastName), name > excess ? name - excess : 0);
    }
  }
  static constexpr std::size_t kIndent = 2;
  static constexpr std::size_t kGap = 2;
  static constexpr std::size_t kLeastName = 12;
  std::size_t name = 0;
  std::size_t value = 0;
  std::size_t key = 0;
};

std::string rendered(const std::vector<Line>& lines, const Columns& columns, const Style& style) {
  const std::string gap(Columns::kGap, ' ');
  std::string text;
  const Line* previous = nullptr;
  for (const Line& line : lines) {
    if (previous == nullptr || previous->group != line.group) {
      text += "\n" + style.heading(headingOf(line.group)) + "\n";
    }
    previous = &line;
    text.append(Columns::kIndent, ' ').append(fitted(line.name, columns.name)).append(gap);
    text.append(rightAligned(line.value, columns.value)).append(gap);
    if (line.remark.empty()) {
      text.append(style.faint(line.key));
    } else {
      text.append(style.faint(fitted(line.key, columns.key))).append(gap);
      text.append(style.faint(line.remark));
    }
    text.append("\n");
  }
  return text;
}

void writeReading(platform::StandardOutput& output, const MachineChoice& machine,
                  const SensorList& sensors, const std::vector<std::string>& failures) {
  KVSettings& settings = KVSettings::shared();
  std::vector<Line> lines;
  lines.reserve(sensors.size());
  for (const SensorPtr& sensor : sensors) {
    lines.push_back({sensor->group, printable(labelText(*sensor, settings, machine.platform)),
                     valueText(*sensor, settings), printable(sensor->key), remarkOf(*sensor)});
  }
  const Style style(output);
  const Columns columns(lines, static_cast<std::size_t>(output.columns()));
  std::string text = machineLine(machine) + rendered(lines, columns, style);
  if (!failures.empty()) {
    text += "\n" + style.heading("Not readable") + "\n";
    for (const std::string& failure : failures) {
      text += "  " + printable(failure) + "\n";
    }
  }
  writeText(output, text);
}

Json jsonSensor(const Sensor& sensor) {
  return {{"key", sensor.key},
          {"name", sensor.name},
          {"fullName", sensor.fullName},
          {"value", jsonNumber(sensor.value)},
          {"minLimitValue", jsonNumber(sensor.minLimitValue)},
          {"maxLimitValue", jsonNumber(sensor.maxLimitValue)},
          {"type", sensor.type},
          {"group", sensor.group},
          {"platform", sensor.platform},
          {"sourceType", sensor.sourceType},
          {"average", sensor.average}};
}

}  // namespace

int runSensors(const Options& options, platform::StandardOutput& output) {
  const MachineChoice machine = chooseMachine(options.machine);
  ListeningController controller;
  const SensorList sensors = controller.getAllSensors();
  if (options.json) {
    Json list = Json::array();
    for (const SensorPtr& sensor : sensors) {
      list.push_back(jsonSensor(*sensor));
    }
    writeJson(output, {{"machine", jsonMachine(machine.platform)},
                       {"sensors", list},
                       {"failures", controller.failures}});
  } else {
    writeReading(output, machine, sensors, controller.failures);
  }
  if (sensors.empty()) {
    throw CommandError(kExitNothingRead, machine.platform.title() + ": no sensor could be read");
  }
  return kExitSuccess;
}

}  // namespace kelvora::tool
