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
  /// IORegistryEntryGetName, e.g. "cpu0"; none if the entry is gone.
  virtual std::optional<std::string> name() const = 0;
  /// IORegistryEntryCreateCFProperties: the whole property dictionary, or none on failure.
  virtual std::optional<PropertyListValue::Dictionary> properties() const = 0;
  /// IORegistryEntryCreateCFProperty: one property, e.g. "CycleCount"; none if it is absent.
  virtual std::optional<PropertyListValue> property(std::string_view key) const = 0;
  /// IORegistryEntryGetChildIterator in a plane ("IOService"): the children in order; empty if
  /// there are none or the call fails.
  virtual std::vector<std::unique_ptr<RegistryEntry>> children(std::string_view plane) const = 0;
};

/// The I/O registry: the system's tree of devices and drivers. Failures are not logged. Any thread.
class IORegistry {
 public:
  virtual ~IORegistry() = default;
  /// IOServiceGetMatchingServices with IOServiceMatching(`serviceClass`), e.g. "IOPCIDevice": every
  /// service in the registry's order; an empty list if there is no such service, none if the query
  /// itself fails. The caller owns the entries; they may outlive the registry object.
  virtual std::optional<std::vector<std::unique_ptr<RegistryEntry>>> matchingServices(
      std::string_view serviceClass) = 0;
};

}  // namespace kelvora::platform
