#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::platform {

/// One entry of the I/O registry, e.g. the PCI device "GFX0". Immutable; any thread may read it.
class RegistryEntry {
 public:
  virtual ~RegistryEntry() = default;
  /// IORegistryEntryGetName, e.g. "cpu0"; none when the registry does not answer.
  virtual std::optional<std::string> name() const = 0;
  /// IORegistryEntryCreateCFProperties: the whole property dictionary, or none on failure.
  virtual std::optional<PropertyListValue::Dictionary> properties() const = 0;
  /// IORegistryEntryCreateCFProperty: one property, or none.
  virtual std::optional<PropertyListValue> property(std::string_view key) const = 0;
  /// IORegistryEntryGetChildIterator in a plane ("IOService"): the children in order; empty when
  /// there are none or the iterator cannot be had.
  virtual std::vector<std::unique_ptr<RegistryEntry>> children(std::string_view plane) const = 0;
};

/// The I/O registry: the system's tree of devices and drivers.
class IORegistry {
 public:
  virtual ~IORegistry() = default;
  /// IOServiceGetMatchingServices with IOServiceMatching(`serviceClass`), e.g. "IOPCIDevice": every
  /// service in the registry's order (an empty list when the class has none), or none when the
  /// query itself fails.
  virtual std::optional<std::vector<std::unique_ptr<RegistryEntry>>> matchingServices(
      std::string_view serviceClass) = 0;
};

}  // namespace kelvora::platform
