#pragma once

#include <string>

namespace kelvora {

/// The installed memory.
struct ZDMemoryInfo {
  std::string physicalMemory;  ///< ready to show: "16 GB"
};

}  // namespace kelvora
