#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"

#include "platforms/shared/SystemControlTable.h"
#include "tests/support/RecordedMachines.h"

// Pieces of recorded Macs that a test makes up.
namespace kelvora::testing {

inline PropertyListValue::Data data(std::string_view bytes) {
  const auto span = std::as_bytes(std::span(bytes));
  return {span.begin(), span.end()};
}

using Controls = std::vector<std::pair<std::string, std::vector<std::byte>>>;

/// A machine with nothing but these system controls and a registry without services.
inline platform::RecordedMachine machineWithControls(const Controls& controls) {
  platform::RecordedMachine machine;
  for (const auto& [name, bytes] : controls) {
    machine.sysctl[name] = bytes;
  }
  machine.registry.emplace();
  return machine;
}

inline platform::RecordedMachine machineWithBrand(std::string_view brand) {
  return machineWithControls({{"machdep.cpu.brand_string", platform::textControlBytes(brand)}});
}

inline platform::RecordedRegistryEntry entry(std::string name,
                                             PropertyListValue::Dictionary properties) {
  platform::RecordedRegistryEntry result;
  result.name = std::move(name);
  result.properties = std::move(properties);
  return result;
}

}  // namespace kelvora::testing
