#pragma once

#include <cstdint>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// A version of the operating system, e.g. 13, 4, 0 for "13.4".
struct KELVORA_EXPORT ZDOSVersion {
  std::int64_t major = 0;
  std::int64_t minor = 0;
  std::int64_t patch = 0;

  friend bool operator==(const ZDOSVersion&, const ZDOSVersion&) = default;
};

/// The operating system.
struct KELVORA_EXPORT ZDOSInfo {
  ZDOSVersion version;           ///< all 0 if the system does not report one
  std::string build;             ///< "22F66" or "Unknown"
  std::string system = "macOS";  ///< or another system, e.g. "Debian GNU/Linux 12 (bookworm)"

  /// "13.4.0"
  std::string versionString() const;
  /// The release's name, "High Sierra" (10.13) to "Ventura" (13); every other release of macOS is
  /// "Unknown". For another system, `system`.
  std::string name() const;
};

}  // namespace kelvora
