#include "tools/kelvora/WatchModel.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include "KelvoraCore/KVExtension.h"

#include "tools/kelvora/ByteText.h"
#include "tools/kelvora/CharacterSet.h"
#include "tools/kelvora/SensorGroups.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"
#include "tools/kelvora/UsageText.h"

namespace kelvora::tool {

namespace {

using Meter = WatchContent::Meter;
using SensorRow = WatchContent::SensorRow;
using Texts = KVLocalized::Texts;

// From which value on a figure is coloured.
struct Limits {
  double warm;
  double hot;
};
constexpr Limits kTemperature{90, 100};  // degrees Celsius
constexpr Limits kFanRange{0.75, 0.9};

Tone toneAt(double value, Limits limits, Tone otherwise) {
  return value >= limits.hot ? Tone::kHot : value >= limits.warm ? Tone::kWarm : otherwise;
}

std::string loadText(double percent) { return fixedText(percent, 1) + "%"; }

// "58% / 499.96 GB"
std::string shareText(double share, const std::string& whole) {
  return fixedText(share * 100, 0) + "% / " + whole;
}

Meter filled(std::string label, std::string text, double fraction) {
  return {std::move(label), std::move(text), fraction, toneOf(fraction)};
}

Meter loadMeter(const UsageSample& usage, const Texts& texts) {
  const std::string label = localizedText("group-cpu-name", "CPU", texts);
  if (!usage.load) {
    return {label, kNoValue};
  }
  return filled(label, loadText(usage.load->total), usage.load->total / 100);
}

Meter memoryMeter(const UsageSample& usage, const Texts& texts) {
  const std::string label = localizedText("group-memory-name", "Memory", texts);
  const MemoryAccuracy accuracy = accuracyOf(usage.memory);
  if (accuracy == MemoryAccuracy::kUnknown) {
    return {label, kNoValue};
  }
  const auto used = static_cast<double>(usage.memory.used);
  const auto all = static_cast<double>(installedMemory(usage.memory));
  // Wider, so that it is chosen here and not when it is written.
  const std::string atMost = isInCharacterSetOfLocale("≤") ? "≤ " : "<= ";
  const std::string sign = accuracy == MemoryAccuracy::kExact ? "" : atMost;
  return filled(label, sign + shareText(used / all, binaryByteText(all)), used / all);
}

Meter diskMeter(const UsageSample& usage, const Texts& texts) {
  const std::string label = localizedText("overview-disk-item", "Startup disk", texts);
  if (usage.disk.total <= 0) {
    return {label, kNoValue};
  }
  const auto used = static_cast<double>(usage.disk.used);
  const auto all = static_cast<double>(usage.disk.total);
  return filled(label, shareText(used / all, decimalByteText(all)), used / all);
}

Meter networkMeter(const UsageSample& usage, const Texts& texts) {
  const auto rate = [](double bytes) { return decimalByteText(std::round(bytes)) + "/s"; };
  return {localizedText("usage-network", "Network", texts),
          usage.rate ? "↓" + rate(usage.rate->received) + " ↑" + rate(usage.rate->sent) : kNoValue};
}

Meter uptimeMeter(const UsageSample& usage, const Texts& texts) {
  return {localizedText("usage-uptime", "Uptime", texts),
          usage.uptimeSeconds > 0 ? durationText(usage.uptimeSeconds) : kNoValue};
}

Meter batteryMeter(const UsageSample& usage, const Texts& texts) {
  const ZDBatteryUsage& battery = usage.battery;
  const std::string charging =
      battery.isCharging ? "  " + localizedText("usage-charging", "charging", texts) : "";
  const std::string label = localizedText("group-battery-name", "Battery", texts);
  if (battery.maxCapacity <= 0) {
    return {label, kNoValue + charging};
  }
  const double fraction = battery.currentCapacity / battery.maxCapacity;
  return {label, fixedText(fraction * 100, 0) + "%" + charging, fraction, toneOf(1 - fraction)};
}

/// Finds a part of texts in any case: by the rules of most languages, and by those of Turkish,
/// where "I" is the capital of "ı". A list of sensors has names and keys of both kinds.
class Filter {
 public:
  explicit Filter(const std::string& part) {
    std::ranges::transform(kRules, parts_.begin(),
                           [&](std::uint32_t rules) { return folded(part, rules); });
  }
  bool fits(const std::string& text) const {
    bool isFound = false;
    for (std::size_t i = 0; i < kRules.size(); ++i) {
      isFound = isFound || parts_[i].isEmpty() || folded(text, kRules[i]).indexOf(parts_[i]) >= 0;
    }
    return isFound;
  }

 private:
  static constexpr std::array<std::uint32_t, 2> kRules{U_FOLD_CASE_DEFAULT,
                                                       U_FOLD_CASE_EXCLUDE_SPECIAL_I};
  static icu::UnicodeString folded(const std::string& text, std::uint32_t rules) {
    return icu::UnicodeString::fromUTF8(text).foldCase(rules);
  }

  std::array<icu::UnicodeString, kRules.size()> parts_;
};

// As KVSensor::isUnknownSensor of a stored one.
bool isUnknown(const Sensor& sensor) {
  return sensor.group == SensorGroupNone && sensor.key == sensor.name &&
         sensor.key == sensor.fullName;
}

std::optional<double> fractionOf(const Sensor& sensor) {
  const double range = sensor.maxLimitValue - sensor.minLimitValue;
  const bool isKnown = sensor.type == SensorTypeFan && std::isfinite(range) && range > 0 &&
                       std::isfinite(sensor.value);
  return isKnown ? std::optional(std::clamp((sensor.value - sensor.minLimitValue) / range, 0., 1.))
                 : std::nullopt;
}

Tone toneOfValue(const Sensor& sensor, std::optional<double> fraction) {
  if (fraction) {
    return toneAt(*fraction, kFanRange, Tone::kGood);
  }
  return sensor.type == SensorTypeTemperature ? toneAt(sensor.value, kTemperature, Tone::kPlain)
                                              : Tone::kPlain;
}

// Fans first, because they are few; unknown sensors last.
int placeOf(std::uint64_t group) {
  constexpr int kLast = 1000;
  return group == SensorGroupFan ? 0 : group == SensorGroupNone ? kLast : static_cast<int>(group);
}

SensorList inOrder(const SensorList& sensors) {
  SensorList ordered = sensors;
  std::ranges::stable_sort(ordered, {},
                           [](const SensorPtr& sensor) { return placeOf(sensor->group); });
  return ordered;
}

}  // namespace

std::vector<Meter> usageMeters(const UsageSample& usage, const Texts& texts) {
  std::vector<Meter> meters{loadMeter(usage, texts), memoryMeter(usage, texts),
                            networkMeter(usage, texts), diskMeter(usage, texts),
                            uptimeMeter(usage, texts)};
  if (usage.battery.batteryInstalled) {
    meters.push_back(batteryMeter(usage, texts));
  }
  return meters;
}

WatchModel::WatchModel(Platform& platform)
    : platform_(platform), hasSensorHardware_(platform.hasSensorHardware()) {}

void WatchModel::setReading(WatchReading reading) {
  // The counters of a recording never change: its load since start-up is all that there is to know.
  if (!platform_.isLive() && !reading.usage.load && reading_) {
    reading.usage.load = reading_->usage.load;
  }
  reading_ = std::move(reading);
}

WatchContent WatchModel::content(KVSettings& settings, const Texts& texts) const {
  WatchContent content;
  content.title = printable(platform_.title());
  if (!platform_.isLive()) {
    content.titleEnd = " (" + localizedText("watch-recorded", "recording", texts) + ")";
  }
  content.tooSmall = localizedText("watch-too-small", "The terminal is too small.", texts);
  content.help = isTyping_ ? localizedText("watch-filter-keys", "Enter keep  Esc clear", texts)
                           : localizedText("watch-keys", "q quit  / filter", texts);
  if (isTyping_) {
    content.help = "/" + filter_ + "_  " + content.help;
  }
  if (reading_) {
    content.time = KVExtension::timeOnlyFormat(reading_->time);
    content.meters = usageMeters(reading_->usage, texts);
  }
  addSensors(content, settings, texts);
  addProcesses(content, texts);
  return content;
}

void WatchModel::addSensors(WatchContent& content, KVSettings& settings, const Texts& texts) const {
  content.sensorsTitle = localizedText("watch-sensors", "Sensors", texts);
  if (!filter_.empty()) {
    content.sensorsTitle +=
        "  " + localizedText("watch-filter", "filter", texts) + ": " + printable(filter_);
  }
  if (!reading_) {
    content.sensorsNote = localizedText("watch-reading", "Reading…", texts);
    return;
  }
  std::size_t hidden = 0;
  const Filter wanted(filter_);
  const Sensor* previous = nullptr;
  for (const SensorPtr& sensor : inOrder(reading_->sensors)) {
    if (!showsAll_ && !settings.showsSensor(sensor->sourceType, isUnknown(*sensor))) {
      ++hidden;
      continue;
    }
    const std::string name = printable(labelText(*sensor, texts));
    if (!wanted.fits(name) && !wanted.fits(sensor->key)) {
      continue;
    }
    if (previous == nullptr || previous->group != sensor->group) {
      content.sensors.push_back({.name = groupHeading(sensor->group, texts), .isHeading = true});
    }
    previous = sensor.get();
    const auto fraction = fractionOf(*sensor);
    // The key of a computed sensor is its name.
    const bool hasKey = sensor->sourceType != SensorSourceComputed;
    content.sensors.push_back({name, hasKey ? printable(sensor->key) : "",
                               valueText(*sensor, settings), fraction,
                               toneOfValue(*sensor, fraction), false});
  }
  if (content.sensors.empty()) {
    content.sensorsNote = reasonForNoSensors(hidden, texts);
  } else if (hidden > 0) {
    content.sensorsTitle += "  (" + std::to_string(hidden) + " " +
                            localizedText("watch-hidden", "hidden by the settings", texts) + ")";
  }
}

std::string WatchModel::reasonForNoSensors(std::size_t hidden, const Texts& texts) const {
  if (reading_->sensors.empty()) {
    return hasSensorHardware_ || !platform_.isLive()
               ? localizedText("watch-nothing-read", "No sensor could be read.", texts)
               : localizedText("watch-no-hardware", "This computer has no sensors of a Mac.",
                               texts);
  }
  if (!filter_.empty()) {
    return localizedText("watch-no-match", "No sensor matches the filter.", texts);
  }
  return std::to_string(hidden) + " " +
         localizedText("watch-hidden", "hidden by the settings", texts);
}

void WatchModel::addProcesses(WatchContent& content, const Texts& texts) const {
  content.processesTitle = localizedText("watch-processes", "Busiest processes", texts);
  if (!processes_) {
    content.processesNote =
        areProcessesRead_ ? localizedText("watch-no-processes", "No list of processes.", texts)
                          : localizedText("watch-reading", "Reading…", texts);
    return;
  }
  for (const CPUTopProcess& process : *processes_) {
    content.processes.push_back({std::to_string(process.pid),
                                 printable(process.name.value_or(process.command)),
                                 loadText(process.usage)});
  }
}

}  // namespace kelvora::tool
