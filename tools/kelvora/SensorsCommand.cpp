#include <algorithm>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/SensorController.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/NearName.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/ReadFailures.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorGroups.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/SensorTypes.h"
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

std::string typeNameOf(std::uint64_t type) {
  return type < std::size(kSensorTypes) ? kSensorTypes[type].name : "";
}

// Whether the options ask for a sensor: every filter that was given fits.
bool isWanted(const Sensor& sensor, const Options& options) {
  const std::vector<std::string> keys = options.texts("KEY");
  return (keys.empty() || std::ranges::find(keys, sensor.key) != keys.end()) &&
         (!options.has("--group") || options.text("--group") == groupName(sensor.group)) &&
         (!options.has("--type") || options.text("--type") == typeNameOf(sensor.type));
}

bool isFiltered(const Options& options) {
  return !options.texts("KEY").empty() || options.has("--group") || options.has("--type");
}

std::string remarkOf(const Sensor& sensor, const KVLocalized::Texts& texts) {
  if (sensor.sourceType == SensorSourceComputed) {
    return localizedText("sensor-source-computed", "computed", texts);
  }
  if (sensor.type == SensorTypeFan) {
    return limitsText(sensor, texts);
  }
  return "";
}

struct Line {
  std::string heading;
  std::string name;
  std::string value;
  std::string key;
  std::string remark;
};

/// The columns of a reading in a terminal of some width; 0 is a terminal without a limit. Names are
/// what a reader looks for, so they are cut last: before that, key and remark of a line that is too
/// long get a line of their own. A name or value that is unusually long moves its own line only.
struct Columns {
  Columns(const std::vector<Line>& lines, std::size_t terminalWidth) : terminal(terminalWidth) {
    for (const Line& line : lines) {
      widen(name, line.name, kMostName);
      widen(value, line.value, kMostValue);
      if (!line.remark.empty()) {
        key = std::max(key, displayWidth(line.key));
      }
    }
    const std::size_t rest = kIndent + kGap + value;
    if (terminal != 0 && name + rest > terminal) {
      name = std::max(std::min(name, kLeastName), terminal > rest ? terminal - rest : 0);
    }
  }
  static void widen(std::size_t& column, std::string_view text, std::size_t most) {
    const std::size_t width = displayWidth(text);
    column = width > most ? column : std::max(column, width);
  }
  /// The width of a line's name, which is cut only where the terminal ends.
  std::size_t nameWidth(const Line& line) const {
    const std::size_t wanted = std::max(name, displayWidth(line.name));
    const std::size_t rest = kIndent + kGap + std::max(value, displayWidth(line.value));
    return terminal == 0 || wanted + rest <= terminal
               ? wanted
               : std::max(name, terminal > rest ? terminal - rest : 0);
  }
  static constexpr std::size_t kIndent = 2;
  static constexpr std::size_t kGap = 2;
  static constexpr std::size_t kLeastName = 12;
  static constexpr std::size_t kMostName = 48;
  static constexpr std::size_t kMostValue = 12;
  std::size_t terminal;
  std::size_t name = 0;
  std::size_t value = 0;
  std::size_t key = 0;  // where a remark follows
};

// After `start`, with remarks one below the other where that fits; else on a line of its own.
std::string keyAndRemark(const Line& line, const std::string& start, const Columns& columns,
                         const Style& style) {
  const auto fits = [&](const std::string& text) {
    return columns.terminal == 0 ||
           displayWidth(start) + Columns::kGap + displayWidth(text) <= columns.terminal;
  };
  const std::string gap(Columns::kGap, ' ');
  const std::string remark = line.remark.empty() ? "" : gap + line.remark;
  const std::string aligned =
      line.remark.empty() ? line.key : fitted(line.key, columns.key) + remark;
  if (fits(aligned)) {
    return gap + style.faint(aligned);
  }
  const std::string close = line.key + remark;
  return (fits(close) ? gap : "\n    ") + style.faint(close);
}

std::string rendered(const Line& line, const Columns& columns, const Style& style) {
  const std::string start =
      std::string(Columns::kIndent, ' ') + fitted(line.name, columns.nameWidth(line)) +
      std::string(Columns::kGap, ' ') + rightAligned(line.value, columns.value);
  return start + keyAndRemark(line, start, columns, style) + "\n";
}

std::string rendered(const std::vector<Line>& lines, const Columns& columns, const Style& style) {
  std::string text;
  const Line* previous = nullptr;
  for (const Line& line : lines) {
    if (previous == nullptr || previous->heading != line.heading) {
      text += "\n" + style.heading(line.heading) + "\n";
    }
    previous = &line;
    text += rendered(line, columns, style);
  }
  return text;
}

std::string listText(const std::string& heading, const std::vector<std::string>& lines,
                     const Style& style) {
  std::string text = lines.empty() ? "" : "\n" + style.heading(heading) + "\n";
  for (const std::string& line : lines) {
    text += "  " + printable(line) + "\n";
  }
  return text;
}

void writeReading(StandardOutput& output, const MachineChoice& machine, const SensorList& sensors,
                  const ReadFailures& failures) {
  KVSettingsSnapshot settings;
  const KVLocalized::Texts texts(settings, machine.platform);
  std::vector<Line> lines;
  lines.reserve(sensors.size());
  for (const SensorPtr& sensor : sensors) {
    lines.push_back({groupHeading(sensor->group, texts), printable(labelText(*sensor, texts)),
                     valueText(*sensor, settings), printable(sensor->key),
                     remarkOf(*sensor, texts)});
  }
  const Style style(output);
  const auto terminal = static_cast<std::size_t>(output.columns());
  writeText(output,
            machineLine(machine, terminal) + rendered(lines, Columns(lines, terminal), style) +
                listText(localizedText("group-not-recorded-name", "Not in this recording", texts),
                         failures.notInRecording, style) +
                listText(localizedText("group-unreadable-name", "Not readable", texts),
                         failures.messages, style));
}

Json jsonSensor(const Sensor& sensor, bool isRepeated) {
  const auto unit = rawUnit(sensor.type);
  return {{"key", sensor.key},
          {"name", sensor.name},
          {"fullName", sensor.fullName},
          {"value", jsonNumber(sensor.value)},
          {"minLimitValue", jsonNumber(sensor.minLimitValue)},
          {"maxLimitValue", jsonNumber(sensor.maxLimitValue)},
          {"unit", orNull(unit)},
          {"type", sensor.type},
          {"group", sensor.group},
          {"platform", sensor.platform},
          {"sourceType", sensor.sourceType},
          {"average", sensor.average},
          {"isRepeated", isRepeated}};
}

Json jsonSensors(const SensorList& sensors) {
  std::set<const Sensor*> listed;
  Json list = Json::array();
  for (const SensorPtr& sensor : sensors) {
    const bool isRepeated = !listed.insert(sensor.get()).second;
    list.push_back(jsonSensor(*sensor, isRepeated));
  }
  return list;
}

std::vector<std::string> keysOf(const SensorList& sensors) {
  std::vector<std::string> keys;
  keys.reserve(sensors.size());
  for (const SensorPtr& sensor : sensors) {
    keys.push_back(sensor->key);
  }
  return keys;
}

void requireEveryKey(const Options& options, const SensorList& sensors,
                     const std::vector<std::string>& allKeys) {
  const std::vector<std::string> shown = keysOf(sensors);
  for (const std::string& key : options.texts("KEY")) {
    if (std::ranges::find(shown, key) == shown.end()) {
      const auto near = nearName(key, allKeys);
      throw CommandError(kExitNothingRead,
                         (key.empty() ? "''" : key) + ": no sensor has this key" +
                             (near && *near != key ? "; did you mean " + *near + "?" : ""));
    }
  }
}

std::vector<std::string> sensorTypeNames() {
  std::vector<std::string> names;
  for (const SensorTypeRow& row : kSensorTypes) {
    names.emplace_back(row.name);
  }
  return names;
}

int runSensors(const Options& options, StandardOutput& output) {
  const MachineChoice machine = chooseMachine(options.machine);
  output.discardMessages(!machine.platform.isLive());
  const bool isSMCThere = machine.platform.isLive() || hasSMC();
  ListeningController controller;
  SensorList sensors = controller.getAllSensors();
  const ReadFailures failures = readFailures(machine.platform, isSMCThere, controller.failures);
  const std::vector<std::string> allKeys = keysOf(sensors);
  std::erase_if(sensors, [&](const SensorPtr& sensor) { return !isWanted(*sensor, options); });
  if (options.json) {
    writeJson(output, {{"machine", jsonMachine(machine.platform)},
                       {"sensors", jsonSensors(sensors)},
                       {"failures", controller.failures},
                       {"notInRecording", failures.notInRecording}});
  } else {
    // What some other sensor lacks is not what was asked for.
    writeReading(output, machine, sensors, isFiltered(options) ? ReadFailures() : failures);
  }
  if (allKeys.empty()) {
    throw CommandError(kExitNothingRead, machine.platform.title() + ": no sensor could be read");
  }
  requireEveryKey(options, sensors, allKeys);
  if (sensors.empty() && !options.json) {
    writeText(output, "\nno sensor matches\n");
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> sensorsCommands() {
  return {{.name = "sensors",
           .description = "Take one reading of every sensor",
           .example = "kelvora sensors --machine iMac19,1\n"
                      "  kelvora sensors TC0P --json | jq '.sensors[].value'\n"
                      "  kelvora sensors --group gpu --type temperature",
           .machine = MachineUse::kOption,
           .arguments = {{.name = "KEY",
                          .kind = Argument::Kind::kTexts,
                          .description = "Only the sensors with these keys, e.g. TC0P"},
                         {.name = "--group",
                          .description = "Only those of one kind",
                          .choices = groupNames()},
                         {.name = "--type",
                          .description = "Only those of one kind",
                          .choices = sensorTypeNames()}},
           .run = runSensors}};
}

}  // namespace kelvora::tool
