#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// The kind of a core, by the "cluster-type" of its node in the device tree: "E" or "P".
enum CPUCoreType : std::int32_t {
  CPUCoreTypeUnknown = 0,
  CPUCoreTypeEfficiency = 1,
  CPUCoreTypePerformance = 2,
};

/// One processor core of an Apple-silicon Mac.
struct KELVORA_EXPORT CPUCoreInfo {
  std::int32_t coreId = 0;  ///< the hardware's identifier
  std::string name;         ///< of the core's node in the I/O registry, e.g. "cpu0"
  std::int32_t type = CPUCoreTypeUnknown;

  friend bool operator==(const CPUCoreInfo&, const CPUCoreInfo&) = default;
};

/// The cores in the I/O registry's device tree. A count has no value if the tree lacks it.
struct KELVORA_EXPORT CPUCoresInfo {
  std::vector<CPUCoreInfo> coreList;  ///< in the registry's order; empty on an Intel Mac
  std::optional<std::int32_t> pCores;
  std::optional<std::int32_t> eCores;
};

}  // namespace kelvora
