#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platforms/shared/InterfaceListBytes.h"
#include "ports/HostStatistics.h"
#include "ports/Ports.h"
#include "ports/SystemFacts.h"
#include "ports/Workspace.h"

namespace kelvora::platform {

using kelvora::MachineFileError;

/// One SMC key as recorded.
struct RecordedSMCKey {
  std::uint32_t key = 0;   ///< packed, e.g. 'TC0P'
  std::uint32_t type = 0;  ///< packed, e.g. 'sp78'
  std::uint8_t attributes = 0;
  std::vector<std::byte> bytes;  ///< 0 to 32, as the SMC delivers them
  std::uint8_t result = 0;       ///< SMC result byte of a read
  std::uint32_t status = 0;      ///< IOKit status of a read

  friend bool operator==(const RecordedSMCKey&, const RecordedSMCKey&) = default;
};

struct RecordedHIDService {
  std::int32_t usagePage = 0;
  std::int32_t usage = 0;
  std::optional<std::string> product;
  std::map<std::int32_t, double> events;  ///< event type to value
};

struct RecordedRegistryEntry {
  std::string name;
  PropertyListValue::Dictionary properties;
  std::vector<RecordedRegistryEntry> children;
};

struct RecordedCommand {
  std::string path;
  std::vector<std::string> arguments;
  std::string standardOutput;
};

struct RecordedVolume {
  std::string path;
  DiskDescription description;
};

struct RecordedStatistics {
  std::optional<double> uptimeSeconds;
  std::optional<std::vector<ProcessorTicks>> processorTicks;
  std::optional<std::uint32_t> pageSizeBytes;
  std::optional<MemoryPages> memory;
  std::optional<FileSystemSize> fileSystem;   ///< of "/"
  std::vector<InterfaceCounters> interfaces;  ///< empty if they were not recorded
};

/// A recorded Mac: what the lowest interfaces of its system returned.
/// docs/machine-file.md describes the file. A member has no value if it was not recorded.
struct RecordedMachine {
  std::string title;
  std::string notes;
  Architecture architecture = Architecture::kIntel;
  std::optional<std::vector<RecordedSMCKey>> smcKeys;  ///< in index order
  std::optional<std::vector<RecordedHIDService>> hid;
  std::map<std::string, std::vector<std::byte>, std::less<>>
      sysctl;  ///< value bytes, texts with NUL
  /// Service class to its services, in order.
  std::optional<std::vector<std::pair<std::string, RecordedRegistryEntry>>> registry;
  std::vector<RecordedCommand> commands;
  std::optional<OSVersion> osVersion;
  std::string osText;
  std::string localizedHostName;
  std::string hostName;
  std::vector<std::string> hostAddresses;
  std::vector<Display> displays;
  std::vector<RecordedVolume> volumes;
  std::vector<RunningApplication> applications;
  RecordedStatistics statistics;
};

}  // namespace kelvora::platform
