#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "KelvoraCore/PropertyListValue.h"

#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

enum class SettingsState : std::uint8_t {
  kMissing,     ///< it has no settings
  kReadable,    ///< its settings are known
  kUnreadable,  ///< e.g. no right to read it, no descriptors, larger than 16 MB
  kDamaged,     ///< not a property list of settings, or not a file
};

/// A settings file at one moment.
struct SettingsReading {
  SettingsState state = SettingsState::kMissing;
  std::string fault;                     ///< why it is unreadable or damaged; else empty
  PropertyListValue::Dictionary values;  ///< empty unless readable
  std::vector<std::byte> bytes;          ///< of the whole file; empty unless readable
  FileDescriptor file;                   ///< what was read; not open when it could not be opened
  /// By which the file is known again while it does not change; none when it may change without a
  /// trace in them, and when the reason of a failure lies elsewhere.
  std::optional<struct stat> facts;
};

/// Reads the file at a path. Changes nothing and logs nothing.
SettingsReading readSettingsFile(const std::string& path);

/// Why the bytes of a settings file cannot be used, e.g. "larger than 16 MB"; empty when they can.
std::string faultOfSettings(std::span<const std::byte> bytes);

}  // namespace kelvora::platform
