#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The disk that the system started from.
struct KELVORA_EXPORT ZDDiskInfo {
  std::string name;                  ///< of the media, e.g. "Untitled 1"; may be empty
  std::string model;                 ///< of the device, e.g. "APPLE SSD AP0512M"; may be empty
  std::optional<std::int64_t> size;  ///< of the media, in bytes

  /// The model, without one the name, without either "Unknown".
  std::string displayName() const;
};

}  // namespace kelvora
