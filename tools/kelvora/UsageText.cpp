#include "tools/kelvora/UsageText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "KelvoraCore/KVExtension.h"

#include "tools/kelvora/ByteText.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

std::string numberText(double number, int decimals, const char* unit) {
  return fixedText(number, decimals) + " " + unit;
}

/// The groups of one sample.
class Groups {
 public:
  Groups(const UsageSample& sample, const KVLocalized::Texts& texts, std::size_t barColumns)
      : sample_(sample), texts_(texts), barColumns_(barColumns) {}

  LineGroup processor() const;
  LineGroup memory() const;
  LineGroup disk() const;
  LineGroup network() const;
  LineGroup battery() const;
  LineGroup uptime() const;

 private:
  std::string text(const char* key, const char* english) const {
    return localizedText(key, english, texts_);
  }
  std::string phrase(const char* key, const char* english, const std::string& value) const {
    return KVExtension::replace(text(key, english), "%@", value);
  }
  // "4 GB of 16 GB"
  std::string partText(const std::string& part, const std::string& whole) const {
    return pairText("usage-part-range", "%@ of %@", part, whole, texts_);
  }
  // A line with a bar.
  void addGauge(LineGroup& group, const std::string& name, double fraction, Tone tone,
                const std::string& value) const {
    const std::string bar = barColumns_ == 0 ? "" : barText(fraction, barColumns_) + "  ";
    group.add(name, bar + value, tone);
  }
  std::string memoryText(std::int64_t bytes, bool isLostPart) const;
  std::string rateText(std::uint64_t total, std::optional<double> perSecond) const;
  std::string chargeState() const;

  const UsageSample& sample_;
  const KVLocalized::Texts& texts_;
  std::size_t barColumns_;
};

LineGroup Groups::processor() const {
  const std::string since = text("usage-since-start-up", "since start-up");
  LineGroup group(text("overview-processor-item", "Processor") +
                  (sample_.isLoadSinceStartUp ? " (" + since + ")" : ""));
  const auto percent = [&](double ZDCPUUsage::*share) {
    return sample_.load ? numberText((*sample_.load).*share, 1, "%") : kNoValue;
  };
  const double load = sample_.load ? sample_.load->total / 100 : 0;
  addGauge(group, text("usage-total", "Total"), load, toneOf(load), percent(&ZDCPUUsage::total));
  group.add(text("usage-user", "User"), percent(&ZDCPUUsage::user));
  group.add(text("usage-system", "System"), percent(&ZDCPUUsage::system));
  group.add(text("usage-nice", "Low priority"), percent(&ZDCPUUsage::nice));
  group.add(text("usage-idle", "Idle"), percent(&ZDCPUUsage::idle));
  return group;
}

// A figure that may have wrapped is a bound: what it lost is in `used` and `other`.
std::string Groups::memoryText(std::int64_t bytes, bool isLostPart) const {
  std::string amount = binaryByteText(static_cast<double>(bytes));
  switch (accuracyOf(sample_.memory)) {
    case MemoryAccuracy::kUnknown:
      return kNoValue;
    case MemoryAccuracy::kExact:
      return amount;
    case MemoryAccuracy::kWrapped:
      break;
  }
  return isLostPart ? phrase("usage-at-most-%@", "at most %@", amount)
                    : phrase("usage-at-least-%@", "at least %@", amount);
}

LineGroup Groups::memory() const {
  const ZDMemoryUsage& memory = sample_.memory;
  const auto installed = static_cast<double>(installedMemory(memory));
  const bool isKnown = accuracyOf(memory) != MemoryAccuracy::kUnknown;
  LineGroup group(text("overview-memory-item", "Memory"));
  const std::string used = memoryText(memory.used, true);
  const double share = isKnown ? static_cast<double>(memory.used) / installed : 0;
  addGauge(group, text("usage-used", "Used"), share, toneOf(share),
           isKnown ? partText(used, binaryByteText(installed)) : used);
  group.add(text("usage-free", "Free"), memoryText(memory.free, false));
  group.add(text("usage-active", "Active"), memoryText(memory.active, false));
  group.add(text("usage-inactive", "Inactive"), memoryText(memory.inactive, false));
  group.add(text("usage-wired", "Wired"), memoryText(memory.wired, false));
  group.add(text("usage-other", "Other"), memoryText(memory.other, true));
  return group;
}

LineGroup Groups::disk() const {
  const auto total = static_cast<double>(sample_.disk.total);
  const auto used = static_cast<double>(sample_.disk.used);
  LineGroup group(text("overview-disk-item", "Startup Disk"));
  const bool isKnown = total > 0;
  const double share = isKnown ? used / total : 0;
  addGauge(group, text("usage-used", "Used"), share, toneOf(share),
           isKnown ? partText(decimalByteText(used), decimalByteText(total)) : kNoValue);
  group.add(text("usage-free", "Free"),
            isKnown ? decimalByteText(static_cast<double>(sample_.disk.free)) : kNoValue);
  return group;
}

// "1.2 KB/s, 123.46 MB since start-up"
std::string Groups::rateText(std::uint64_t total, std::optional<double> perSecond) const {
  const std::string now = perSecond ? decimalByteText(*perSecond) + "/s" : kNoValue;
  return now + ", " + decimalByteText(static_cast<double>(total)) + " " +
         text("usage-since-start-up", "since start-up");
}

LineGroup Groups::network() const {
  const auto& rate = sample_.rate;
  LineGroup group(text("usage-network", "Network"));
  group.add(
      text("usage-received", "Received"),
      rateText(sample_.network.received, rate ? std::optional(rate->received) : std::nullopt));
  group.add(text("usage-sent", "Sent"),
            rateText(sample_.network.sent, rate ? std::optional(rate->sent) : std::nullopt));
  return group;
}

std::string Groups::chargeState() const {
  const ZDBatteryUsage& battery = sample_.battery;
  if (battery.fullyCharged) {
    return text("usage-charged", "fully charged");
  }
  if (battery.isCharging) {
    return text("usage-charging", "charging");
  }
  return battery.externalConnected ? text("usage-on-mains", "on mains")
                                   : text("usage-on-battery", "on battery");
}

LineGroup Groups::battery() const {
  const ZDBatteryUsage& battery = sample_.battery;
  LineGroup group(text("group-battery-name", "Battery"));
  if (!battery.batteryInstalled) {
    return group;
  }
  const bool isKnown = battery.maxCapacity > 0;
  const double charge = isKnown ? battery.currentCapacity / battery.maxCapacity : 0;
  addGauge(group, text("usage-charge", "Charge"), charge, toneOf(isKnown ? 1 - charge : 0),
           (isKnown ? numberText(charge * 100, 0, "%") : kNoValue) + ", " + chargeState());
  group.add(text("usage-voltage", "Voltage"), numberText(battery.voltage, 2, "V"));
  group.add(text("usage-current", "Current"), numberText(battery.amperage, 2, "A"));
  const std::string cycles = std::to_string(battery.cycleCount);
  group.add(text("overview-battery-cycle-count-item", "Battery Cycle Count"),
            battery.designCycleCount > 0
                ? partText(cycles, std::to_string(battery.designCycleCount))
                : cycles);
  group.add(text("usage-age", "Age"),
            battery.ageInDays > 0 ? std::to_string(battery.ageInDays) + "d" : "");
  return group;
}

LineGroup Groups::uptime() const {
  LineGroup group;
  group.add(text("usage-uptime", "Uptime"),
            sample_.uptimeSeconds > 0 ? durationText(sample_.uptimeSeconds) : kNoValue);
  return group;
}

}  // namespace

std::string barText(double fraction, std::size_t columns) {
  const double part = std::isnan(fraction) ? 0 : std::clamp(fraction, 0.0, 1.0);
  const auto full = static_cast<std::size_t>(std::lround(part * static_cast<double>(columns)));
  std::string text;
  for (std::size_t i = 0; i < columns; ++i) {
    text += i < full ? "█" : "░";
  }
  return text;
}

Tone toneOf(double fraction) {
  constexpr double kWarm = 0.6;
  constexpr double kHot = 0.85;
  if (!(fraction >= kWarm)) {
    return Tone::kGood;
  }
  return fraction < kHot ? Tone::kWarm : Tone::kHot;
}

std::string durationText(double seconds) {
  constexpr std::int64_t kMinute = 60;
  constexpr std::int64_t kHour = 60 * kMinute;
  constexpr std::int64_t kDay = 24 * kHour;
  const auto whole = static_cast<std::int64_t>(std::clamp(seconds, 0.0, 1e15));
  const std::string rest = std::to_string(whole % kHour / kMinute) + "m";
  const std::string hours = std::to_string(whole % kDay / kHour) + "h " + rest;
  return whole < kDay ? hours : std::to_string(whole / kDay) + "d " + hours;
}

std::vector<LineGroup> usageText(const UsageSample& sample, const KVLocalized::Texts& texts,
                                 std::size_t barColumns) {
  const Groups groups(sample, texts, barColumns);
  return {groups.processor(), groups.memory(),  groups.disk(),
          groups.network(),   groups.battery(), groups.uptime()};
}

}  // namespace kelvora::tool
