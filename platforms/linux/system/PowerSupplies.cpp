#include "platforms/linux/system/PowerSupplies.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

#include "platforms/linux/system/TextFile.h"

namespace kelvora::platform {

namespace {

using Number = std::optional<double>;

constexpr double kMilli = 1000;
constexpr double kMilliPerMicro = 0.001;

// One folder of the kernel's: a battery, a mains adapter, a charger. The kernel counts in
// millionths.
class PowerSupply {
 public:
  explicit PowerSupply(const std::filesystem::path& folder)
      : name_(folder.filename().string()), attributes_(folder.string() + "/") {}

  const std::string& name() const { return name_; }
  std::string text(const std::string& attribute) const {
    return readLine(attributes_ + attribute).value_or("");
  }
  /// The kernel's numbers have 32 bits.
  Number number(const std::string& attribute) const {
    const std::string text = this->text(attribute);
    std::int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() ? Number(number) : std::nullopt;
  }
  /// Of the mouse or the phone that it is in, not of the computer.
  bool isOfADevice() const { return text("scope") == "Device"; }
  bool isBattery() const { return text("type") == "Battery"; }
  /// A battery that cannot be taken out need not have the attribute.
  bool isPresent() const { return number("present") != 0; }

 private:
  std::string name_;
  std::string attributes_;  // where they are, with a slash
};

std::vector<PowerSupply> suppliesOf(const std::string& folder) {
  std::vector<std::filesystem::path> paths;
  std::error_code error;
  // A folder that cannot be read gives the end of the list.
  for (std::filesystem::directory_iterator at(folder, error), end; !error && at != end;
       at.increment(error)) {
    paths.push_back(at->path());
  }
  std::sort(paths.begin(), paths.end());
  std::vector<PowerSupply> supplies(paths.begin(), paths.end());
  std::erase_if(supplies, [](const PowerSupply& supply) { return supply.isOfADevice(); });
  return supplies;
}

// Whether an adapter feeds the computer; none if the kernel knows of no adapter.
std::optional<bool> externalConnected(const std::vector<PowerSupply>& supplies) {
  std::optional<bool> isConnected;
  for (const PowerSupply& supply : supplies) {
    if (const Number online = supply.number("online"); online && !supply.isBattery()) {
      isConnected = isConnected.value_or(false) || *online != 0;
    }
  }
  return isConnected;
}

Number quotient(Number dividend, Number divisor) {
  return dividend && divisor.value_or(0) != 0 ? Number(*dividend / *divisor) : std::nullopt;
}

Number times(double factor, Number number) {
  return number ? Number(factor * *number) : std::nullopt;
}

// mAh of "full_design", "full" or "now", which some batteries report as energy. The voltage that
// the battery is made for converts all three alike.
Number capacity(const PowerSupply& battery, const std::string& which) {
  if (const Number charge = battery.number("charge_" + which)) {
    return times(kMilliPerMicro, charge);
  }
  const Number madeFor = battery.number("voltage_min_design");
  const Number voltage = madeFor ? madeFor : battery.number("voltage_now");
  return times(kMilli, quotient(battery.number("energy_" + which), voltage));
}

// mA, which some batteries report as power, and many without a sign.
Number amperage(const PowerSupply& battery, std::string_view status) {
  const Number current = battery.number("current_now");
  const Number milliamperes =
      current ? times(kMilliPerMicro, current)
              : times(kMilli, quotient(battery.number("power_now"), battery.number("voltage_now")));
  if (milliamperes && (status == "Charging" || status == "Discharging")) {
    return std::copysign(*milliamperes, status == "Charging" ? 1 : -1);
  }
  return milliamperes;
}

// Packed as a Mac's battery does. Batteries that do not know report zeros.
Number manufactureDate(const PowerSupply& battery) {
  const auto part = [&](const char* name) {
    return static_cast<int>(battery.number(name).value_or(0));
  };
  const int year = part("manufacture_year");
  const int month = part("manufacture_month");
  const int day = part("manufacture_day");
  if (year < 1980 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31) {
    return std::nullopt;
  }
  return (year - 1980) << 9 | month << 5 | day;
}

PropertyListValue::Dictionary propertiesOf(const PowerSupply& battery,
                                           std::optional<bool> external) {
  const bool isPresent = battery.isPresent();
  PropertyListValue::Dictionary properties = {{"BatteryInstalled", isPresent}};
  if (!isPresent) {
    return properties;
  }
  const auto add = [&](const char* key, Number number) {
    if (number) {
      properties.emplace(key, std::int64_t{std::lround(*number)});
    }
  };
  const std::string status = battery.text("status");
  properties.emplace("FullyCharged", status == "Full");
  properties.emplace("IsCharging", status == "Charging");
  if (external) {
    properties.emplace("ExternalConnected", *external);
  }
  add("Voltage", times(kMilliPerMicro, battery.number("voltage_now")));
  add("Amperage", amperage(battery, status));
  add("DesignCapacity", capacity(battery, "full_design"));
  const Number full = capacity(battery, "full");
  add("MaxCapacity", full);
  add("AppleRawMaxCapacity", full);
  add("CurrentCapacity", capacity(battery, "now"));
  add("CycleCount", battery.number("cycle_count"));
  add("ManufactureDate", manufactureDate(battery));
  return properties;
}

}  // namespace

std::vector<RecordedRegistryEntry> batteriesOf(const std::string& folder) {
  const std::vector<PowerSupply> supplies = suppliesOf(folder);
  const auto external = externalConnected(supplies);
  std::vector<RecordedRegistryEntry> batteries;
  for (const PowerSupply& supply : supplies) {
    if (supply.isBattery()) {
      batteries.push_back({supply.name(), propertiesOf(supply, external), {}});
    }
  }
  std::stable_partition(batteries.begin(), batteries.end(),
                        [](const RecordedRegistryEntry& battery) {
                          return battery.properties.at("BatteryInstalled").boolValue();
                        });
  return batteries;
}

}  // namespace kelvora::platform
