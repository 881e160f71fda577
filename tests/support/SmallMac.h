#pragma once

#include <cstddef>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"
#include "KelvoraCore/SMCRecords.h"

#include "platforms/recorded/RecordedMachine.h"
#include "platforms/shared/SystemControlTable.h"

// Small recorded Macs that a test or a benchmark makes up, and their parts.
namespace kelvora::testing {

/// A key of a recorded SMC, readable and without attributes.
inline platform::RecordedSMCKey smcKey(std::string_view key, std::string_view type,
                                       std::initializer_list<int> bytes) {
  platform::RecordedSMCKey result;
  result.key = SMCPackedKey(key);
  result.type = SMCPackedKey(type);
  for (const int byte : bytes) {
    result.bytes.push_back(static_cast<std::byte>(byte));
  }
  return result;
}

/// "#KEY", which holds the number of keys.
inline platform::RecordedSMCKey keyCount(std::size_t count) {
  return smcKey("#KEY", "ui32",
                {0, 0, static_cast<int>(count / 256), static_cast<int>(count % 256)});
}

/// A key that reads so many degrees Celsius.
inline platform::RecordedSMCKey temperature(std::string_view key, int degrees) {
  return smcKey(key, "sp78", {degrees, 0});
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

/// The SMC of a Mac with two fans, of which the second has a blank name, and some sensors.
inline std::vector<platform::RecordedSMCKey> twoFansAndSensors() {
  return {
      smcKey("#KEY", "ui32", {0, 0, 0, 16}),
      smcKey("B0AV", "ui16", {0x2e, 0xe0}),
      smcKey("F0Ac", "fpe2", {0x1f, 0x40}),  // 2000
      smcKey("F0ID", "{fds", {0, 0, 0, 0, 'L', 'e', 'f', 't', ' ', ' ', 's', 'i', 'd', 'e', 0, 0}),
      smcKey("F0Mn", "fpe2", {0x12, 0xc0}),  // 1200
      smcKey("F0Mx", "fpe2", {0x5d, 0xc0}),  // 6000
      smcKey("F1Ac", "fpe2", {0x1f, 0x80}),  // 2016
      smcKey("F1ID", "{fds", {0, 0, ' ', ' '}),
      smcKey("F1Mn", "fpe2", {0x12, 0xc0}),
      smcKey("F1Mx", "fpe2", {0x5d, 0xc0}),
      smcKey("FNum", "ui8 ", {2}),
      smcKey("IC0C", "sp78", {0x01, 0x80}),
      smcKey("PC0C", "flt ", {0, 0, 0x20, 0x41}),
      smcKey("TC0P", "sp78", {0x28, 0x80}),
      smcKey("TX0x", "hex_", {1, 2}),
      smcKey("VC0C", "fp1f", {0x80, 0x00}),
  };
}

inline platform::RecordedHIDService hidTemperature(const std::string& product, double degrees) {
  return {65280, 5, product, {{15, degrees}}};
}

inline PropertyListValue::Data data(std::string_view bytes) {
  const auto span = std::as_bytes(std::span(bytes));
  return {span.begin(), span.end()};
}

inline platform::RecordedRegistryEntry entry(std::string name,
                                             PropertyListValue::Dictionary properties) {
  platform::RecordedRegistryEntry result;
  result.name = std::move(name);
  result.properties = std::move(properties);
  return result;
}

using Controls = std::vector<std::pair<std::string, std::vector<std::byte>>>;

/// A machine with nothing but these system controls and a registry without services.
inline platform::RecordedMachine machineWithControls(const Controls& controls) {
  platform::RecordedMachine machine;
  machine.title = "Test Mac";
  for (const auto& [name, bytes] : controls) {
    machine.sysctl[name] = bytes;
  }
  machine.registry.emplace();
  return machine;
}

/// A machine of which only the processor's name is known.
inline platform::RecordedMachine machineWithBrand(std::string_view brand) {
  return machineWithControls({{"machdep.cpu.brand_string", platform::textControlBytes(brand)}});
}

/// A Mac with these SMC keys and the count of them. `brand` names the processor.
inline platform::RecordedMachine machineWithKeys(
    std::vector<platform::RecordedSMCKey> keys,
    std::string_view brand = "Intel(R) Core(TM) i7-8850H CPU @ 2.60GHz") {
  platform::RecordedMachine machine = machineWithBrand(brand);
  machine.registry.reset();
  machine.architecture =
      brand.starts_with("Apple") ? Architecture::kAppleSilicon : Architecture::kIntel;
  keys.insert(keys.begin(), keyCount(keys.size() + 1));
  machine.smcKeys = std::move(keys);
  return machine;
}

}  // namespace kelvora::testing
