#include "tools/kelvora/SensorLog.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVExtension.h"

#include "tools/kelvora/CSVFile.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::size_t kDayLength = std::string_view("2024-03-07").size();

// The separators of lines and the quotation marks that a reader of the file would take for its own.
std::string field(std::string_view text) {
  std::string content = KVExtension::formattedForCSVContent(text);
  std::ranges::replace_if(
      content, [](char c) { return c == '\n' || c == '\r'; }, ' ');
  std::ranges::replace(content, '"', '\'');
  return content;
}

// The user's units would change the meaning of a column from one line to the next.
std::string title(const std::string& key, const std::string& name, std::uint64_t type) {
  const auto unit = rawUnit(type);
  return field((name == key ? key : name + " (" + key + ")") + (unit ? " " + *unit : ""));
}

std::string titleOf(const std::string& key, const SensorPtr& reading, KVDataManager& manager) {
  if (reading != nullptr) {
    return title(key, reading->name, reading->type);
  }
  const KVSensorPtr stored = manager.coreDataStore().getSensorByKey(key);
  const KVCategoryPtr category = stored == nullptr ? nullptr : stored->category();
  return category == nullptr
             ? field(key)
             : title(key, stored->name(), static_cast<std::uint64_t>(category->type()));
}

// At most three decimals, without trailing zeros.
std::string logNumber(double value) {
  constexpr double kThousand = 1000;
  if (!std::isfinite(value)) {
    return "";
  }
  const std::string text = nlohmann::json(std::round(value * kThousand) / kThousand).dump();
  return text.ends_with(".0") ? text.substr(0, text.size() - 2) : text;
}

SensorPtr sensorOfKey(const SensorList& sensors, const std::string& key) {
  const auto found = std::ranges::find(sensors, key, [](const auto& each) { return each->key; });
  return found == sensors.end() ? nullptr : *found;
}

// Whether a line of a sample begins so, and not the line of names.
bool isDay(const std::string& begin) {
  return begin.size() == kDayLength && begin.find_first_not_of("0123456789-") == std::string::npos;
}

// Whether a line of names has a column for each key: "Desk (TCXX) °C" or "TCXX".
bool isHeaderOf(const std::string& header, const std::vector<std::string>& keys) {
  std::istringstream columns(header);
  std::string column;
  std::getline(columns, column, ',');
  return std::ranges::all_of(keys,
                             [&](const std::string& key) {
                               return std::getline(columns, column, ',') &&
                                      column.find(field(key)) != std::string::npos;
                             }) &&
         !std::getline(columns, column, ',');
}

/// The line of names and the line of one sample, each with its end.
struct Lines {
  std::string header = "Time";
  std::string sample;
};

Lines logLines(SensorLog::Instant instant, const std::vector<std::string>& keys,
               const SensorList& sensors, KVDataManager& manager) {
  Lines lines;
  lines.sample = isoTime(instant);
  for (const std::string& key : keys) {
    const SensorPtr reading = sensorOfKey(sensors, key);
    lines.header += "," + titleOf(key, reading, manager);
    lines.sample += "," + (reading == nullptr ? std::string() : logNumber(reading->value));
  }
  lines.header += "\n";
  lines.sample += "\n";
  return lines;
}

}  // namespace

std::optional<std::string> SensorLog::append(Instant instant, const SensorList& sensors,
                                             KVDataManager& manager) {
  if (!manager.fileLoggingEnabled()) {
    return std::nullopt;
  }
  auto keys = manager.fileLoggingSensorKeys();
  if (!keys) {  // the first question of an account only stores the list
    keys = manager.fileLoggingSensorKeys();
  }
  if (!keys || keys->empty()) {
    return std::nullopt;
  }
  const auto path = manager.fileLoggingPath();
  if (!path) {
    return "the log has no folder: set fileLoggingPath";
  }
  Lines lines = logLines(instant, *keys, sensors, manager);
  const CSVFile file(*path);
  // The names of sensors that are not read come from the store.
  if (!manager.coreDataStore().allCategories() && isHeaderOf(file.header(), *keys)) {
    lines.header = file.header();
  }
  if (isReset(static_cast<SensorLogReset>(manager.fileLoggingResetMode()), file, lines.sample)) {
    file.clear(lines.header);
  }
  isBegun_ = true;
  return file.append(lines.header, lines.sample);
}

bool SensorLog::isReset(SensorLogReset mode, const CSVFile& file, const std::string& line) const {
  if (mode == SensorLogReset::kEachRecording) {
    return !isBegun_;
  }
  const std::string day = file.beginOfLastLine(kDayLength);
  return mode == SensorLogReset::kEachDay && isDay(day) && !line.starts_with(day);
}

}  // namespace kelvora::tool
