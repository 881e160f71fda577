#pragma once

#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The installed memory.
struct KELVORA_EXPORT ZDMemoryInfo {
  std::string physicalMemory;  ///< ready to show: "16 GB"
};

}  // namespace kelvora
