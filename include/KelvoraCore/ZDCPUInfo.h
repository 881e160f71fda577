#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/CPUCoreInfo.h"
#include "KelvoraCore/Export.h"

namespace kelvora {

/// The processor of a Mac.
struct KELVORA_EXPORT ZDCPUInfo {
  /// A count that the system does not report.
  static constexpr std::uint64_t kUnknownCount = ~std::uint64_t{0};

  std::string brand;              ///< "Intel Core i7-9750H 2.60GHz", "Apple M1 Pro" or "Unknown"
  std::string vendor;             ///< "GenuineIntel", also if the system reports none
  std::uint64_t cpuCount = 0;     ///< processor packages
  std::uint64_t coreCount = 0;    ///< physical cores, or `kUnknownCount`
  std::uint64_t threadCount = 0;  ///< logical processors, or `kUnknownCount`
  std::uint64_t eCoreCount = 0;   ///< efficiency cores; `kUnknownCount` without a core list
  std::uint64_t pCoreCount = 0;   ///< performance cores; `kUnknownCount` without a core list
  std::optional<std::vector<CPUCoreInfo>> coreList;  ///< none if the registry query fails
  double frequency = 0;           ///< gigahertz in single precision; -0.000000001f when unknown
  double l2Cache = 0;             ///< mebibytes; -2^-20 when unknown
  double l3Cache = 0;             ///< mebibytes; -2^-20 when unknown
  std::int64_t architecture = 0;  ///< 2 if the system reports no processor type, else 0
  std::uint64_t platform = 0;     ///< one SensorPlatform bit, or 0 for an unknown family

  /// The brand without "Apple ", whatever its case: "Apple M1 Pro" gives "M1 Pro".
  std::string shortBrand() const;
};

}  // namespace kelvora
