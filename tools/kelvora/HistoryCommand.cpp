#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVLocalized.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/HistoryPlot.h"
#include "tools/kelvora/HistoryReport.h"
#include "tools/kelvora/NearName.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/OutputFile.h"
#include "tools/kelvora/PlotSVG.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorHistory.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/StoreForReading.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr char kNothingYet[] = "no history yet ('kelvora record-history' records it)";

bool isSameName(std::string_view one, std::string_view other) {
  const auto decoded = [](std::string_view text) {
    return icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
  };
  return decoded(one).caseCompare(decoded(other), U_FOLD_CASE_DEFAULT) == 0;
}

[[noreturn]] void refuseUnknown(const std::string& word, const std::vector<KVSensorPtr>& sensors) {
  std::vector<std::string> names;
  for (const KVSensorPtr& sensor : sensors) {
    names.insert(names.end(), {sensor->key(), sensor->name(), sensor->fullName()});
  }
  const auto near = nearName(word, names);
  throw CommandError(kExitUsage, word + ": no stored sensor has this key or name" +
                                     (near ? "; did you mean " + *near + "?" : "") +
                                     " ('kelvora history' lists them)");
}

[[noreturn]] void refuseAmbiguous(const std::string& word,
                                  const std::vector<KVSensorPtr>& sensors) {
  std::vector<std::string> keys;
  keys.reserve(sensors.size());
  for (const KVSensorPtr& sensor : sensors) {
    keys.push_back(sensor->key());
  }
  throw CommandError(kExitUsage, word + ": several sensors have this name; their keys are " +
                                     enumerated(keys, " and "));
}

KVSensorPtr sensorNamed(const std::string& word, KVCoreDataStore& store) {
  if (KVSensorPtr sensor = store.getSensorByKey(word)) {
    return sensor;
  }
  const std::vector<KVSensorPtr> sensors = readable(store.allSensors());
  std::vector<KVSensorPtr> named;
  std::ranges::copy_if(sensors, std::back_inserter(named), [&](const KVSensorPtr& sensor) {
    return isSameName(sensor->name(), word) || isSameName(sensor->fullName(), word);
  });
  if (named.empty()) {
    refuseUnknown(word, sensors);
  }
  if (named.size() > 1) {
    refuseAmbiguous(word, named);
  }
  return named.front();
}

std::int64_t timeRangeOf(const Options& options, KVSettings& settings) {
  const auto& names = timeRangeNames();
  if (const std::string name = options.text("--range"); !name.empty()) {
    return std::ranges::find(names, name) - names.begin();
  }
  // As the axis does with a number outside the table.
  const std::int64_t range = settings.graphTimeRange();
  constexpr std::int64_t kWeek = KVGraphTimeRangeWeek;
  return range == KVGraphTimeRangeHour || range == KVGraphTimeRangeDay ? range : kWeek;
}

void requireForm(const Options& options) {
  const int forms =
      (options.json ? 1 : 0) + (options.has("--csv") ? 1 : 0) + (options.has("--svg") ? 1 : 0);
  if (forms > 1) {
    throw CommandError(kExitUsage, "--json, --csv and --svg exclude each other");
  }
  if (options.has("--svg") && options.text("--svg").empty()) {
    throw CommandError(kExitUsage, "--svg needs a file");
  }
}

void writeHistory(const Options& options, StandardOutput& output, const SensorHistory& history,
                  KVSettings& settings, const KVLocalized::Texts& texts) {
  if (options.json) {
    writeJson(output, jsonHistory(history));
  } else if (options.has("--csv")) {
    writeBytes(output, csvHistory(history));
  } else if (options.has("--svg")) {
    const std::string svg = svgOfPlot(plotOfHistory(history, kMostStepsOfSVG, settings, texts));
    const std::string path = options.text("--svg");
    path == "-" ? writeBytes(output, svg) : writeFile(path, svg);
  } else {
    writeHistoryText(output, history, settings, texts);
  }
}

Json jsonOfSensor(const KVSensor& sensor) {
  const auto unit = rawUnit(sensor.categoryType());
  return {{"key", sensor.key()},
          {"name", sensor.name()},
          {"fullName", sensor.fullName()},
          {"unit", orNull(unit)}};
}

void writeList(const Options& options, StandardOutput& output,
               const std::vector<KVSensorPtr>& sensors, const KVLocalized::Texts& texts) {
  if (options.json) {
    Json list = Json::array();
    for (const KVSensorPtr& sensor : sensors) {
      list.push_back(jsonOfSensor(*sensor));
    }
    writeJson(output, {{"sensors", std::move(list)}});
    return;
  }
  std::size_t width = 0;
  for (const KVSensorPtr& sensor : sensors) {
    width = std::max(width, displayWidth(printable(sensor->key())));
  }
  const Style style(output);
  std::string text;
  for (const KVSensorPtr& sensor : sensors) {
    text += style.heading(fitted(printable(sensor->key()), width)) + "  " +
            printable(labelText(*sensor->toSensor(), texts)) + "\n";
  }
  writeText(output, text.empty() ? std::string(kNothingYet) + "\n" : text);
}

void runList(const Options& options, StandardOutput& output, KVCoreDataStore& store,
             const KVLocalized::Texts& texts) {
  for (const char* name : {"--range", "--csv", "--svg"}) {
    if (options.has(name)) {
      throw CommandError(kExitUsage, std::string(name) + " needs a SENSOR");
    }
  }
  const auto sensors =
      StoreForReading::exists() ? readable(sensorsWithHistory(store)) : std::vector<KVSensorPtr>();
  writeList(options, output, sensors, texts);
}

int runHistory(const Options& options, StandardOutput& output) {
  requireForm(options);
  StoreForReading reading;
  const KVLocalized::Texts texts(reading.settings());
  if (!options.has("SENSOR")) {
    runList(options, output, reading.store(), texts);
    return kExitSuccess;
  }
  const std::string word = options.text("SENSOR");
  if (!StoreForReading::exists()) {
    throw CommandError(kExitNothingRead, word + ": " + kNothingYet);
  }
  const KVSensorPtr sensor = sensorNamed(word, reading.store());
  writeHistory(options, output,
               sensorHistory(*sensor, timeRangeOf(options, reading.settings()),
                             std::chrono::system_clock::now(), reading.settings(), texts),
               reading.settings(), texts);
  return kExitSuccess;
}

}  // namespace

std::vector<Command> historyCommands() {
  return {
      {.name = "history",
       .description = "Plot what was recorded of a sensor, or list the sensors with a history",
       .example = "kelvora history TC0P --range day\n"
                  "  kelvora history 'CPU Proximity' --svg cpu.svg\n"
                  "  kelvora history TC0P --json | jq .maximum",
       .machine = MachineUse::kEnvironment,
       .arguments = {{.name = "SENSOR", .description = "Key or name of a sensor, e.g. TC0P"},
                     {.name = "--range",
                      .description = "The time up to now; the setting graphTimeRange if not given",
                      .choices = timeRangeNames()},
                     {.name = "--csv",
                      .kind = Argument::Kind::kFlag,
                      .description = "Print times and values, separated by commas"},
                     {.name = "--svg",
                      .description = "Write the plot as a picture; - is standard output",
                      .typeName = "FILE"}},
       .run = runHistory}};
}

}  // namespace kelvora::tool
