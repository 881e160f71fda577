#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KelvoraCore/Sensor.h"

#include "platforms/recorded/RecordedMachine.h"
#include "tests/support/SMCKeys.h"

namespace kelvora::testing {

/// A key that reads so many degrees Celsius.
inline platform::RecordedSMCKey temperature(std::string_view key, int degrees) {
  return smcKey(key, "sp78", {degrees, 0});
}

/// A Mac with these SMC keys and the count of them. `brand` names the processor.
inline platform::RecordedMachine mac(
    std::vector<platform::RecordedSMCKey> keys,
    std::string_view brand = "Intel(R) Core(TM) i7-8850H CPU @ 2.60GHz") {
  platform::RecordedMachine machine;
  machine.title = "Test Mac";
  const bool isApple = brand.starts_with("Apple");
  machine.architecture = isApple ? Architecture::kAppleSilicon : Architecture::kIntel;
  const auto bytes = std::as_bytes(std::span(brand));
  std::vector<std::byte>& text = machine.sysctl["machdep.cpu.brand_string"];
  text.assign(bytes.begin(), bytes.end());
  text.push_back(std::byte{0});
  const std::size_t count = keys.size() + 1;
  keys.insert(
      keys.begin(),
      smcKey("#KEY", "ui32", {0, 0, static_cast<int>(count / 256), static_cast<int>(count % 256)}));
  machine.smcKeys = std::move(keys);
  return machine;
}

inline platform::RecordedHIDService hidTemperature(const std::string& product, double degrees) {
  return {65280, 5, product, {{15, degrees}}};
}

/// Key and name of each sensor, in order.
inline std::vector<std::pair<std::string, std::string>> names(const SensorList& sensors) {
  std::vector<std::pair<std::string, std::string>> result;
  for (const SensorPtr& sensor : sensors) {
    result.emplace_back(sensor->key, sensor->name);
  }
  return result;
}

/// The first sensor of a key, or null.
inline const Sensor* find(const SensorList& sensors, const std::string& key) {
  const auto found = std::find_if(sensors.begin(), sensors.end(),
                                  [&](const SensorPtr& sensor) { return sensor->key == key; });
  return found == sensors.end() ? nullptr : found->get();
}

/// Fans "FanA", "FanB" and so on, all at one speed, which is the first byte of an fpe2.
inline std::vector<platform::RecordedSMCKey> fanKeys(int count, int speedByte) {
  std::vector<platform::RecordedSMCKey> keys = {smcKey("FNum", "ui8 ", {count})};
  for (int fan = 0; fan < count; ++fan) {
    const std::string prefix = "F" + std::to_string(fan);
    keys.push_back(smcKey(prefix + "ID", "{fds", {'F', 'a', 'n', 'A' + fan}));
    keys.push_back(smcKey(prefix + "Ac", "fpe2", {speedByte, 0}));
    keys.push_back(smcKey(prefix + "Mn", "fpe2", {0x10 + fan, 0}));
    keys.push_back(smcKey(prefix + "Mx", "fpe2", {0x50 + fan, 0}));
  }
  return keys;
}

}  // namespace kelvora::testing
