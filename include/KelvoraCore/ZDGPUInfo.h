#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// A graphics processor. A text has no value if the system does not report it.
struct KELVORA_EXPORT ZDGPUInfo {
  std::optional<std::string> modelName;  ///< "AMD Radeon Pro 5500M", "Apple M1"
  /// "NVIDIA", "AMD" or "Radeon" of a dedicated one, the model's name on Apple silicon, else none.
  std::optional<std::string> shortModelName;
  bool isDedicated = false;
  std::optional<std::string> vendor;  ///< as reported, e.g. "sppci_vendor_Apple"
  std::optional<std::string> vram;    ///< as reported, with its unit: "1536 MB"
  std::int64_t cores = 0;             ///< 0 when unknown

  friend bool operator==(const ZDGPUInfo&, const ZDGPUInfo&) = default;
};

}  // namespace kelvora
