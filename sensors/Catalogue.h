#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "KelvoraCore/Sensor.h"

namespace kelvora {

/// A sensor that some Mac is known to have.
struct CatalogueEntry {
  std::string_view key;  ///< "TC0P", a pattern ("TC%C") or a HID product name ("gas gauge battery")
  std::string_view name;  ///< "CPU Proximity"; the running number replaces "%"
};

/// Neighbouring entries of the catalogue that have all but key and name in common.
struct CatalogueBlock {
  SensorType type;
  SensorGroup group;
  std::uint64_t platform;  ///< the processor families that have the sensors, as SensorPlatform bits
  bool average;
  std::vector<CatalogueEntry> entries;
};

/// The known SMC keys in the order in which names are given: 201 entries.
const std::vector<CatalogueBlock>& smcCatalogue();

/// The known HID products in the order in which names are given: 11 entries.
const std::vector<CatalogueBlock>& hidCatalogue();

/// Whether sensors of a platform mask exist on a machine of a processor family. A machine of
/// unknown family (0) is taken to have them all.
constexpr bool appliesToFamily(std::uint64_t platformMask, std::uint64_t family) {
  return (platformMask & family) == family;
}

}  // namespace kelvora
