#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/ZDGPUInfo.h"

namespace kelvora {

/// The facts in a report of the graphics processors.
struct DisplaysReport {
  std::optional<std::vector<ZDGPUInfo>> gpuInfos;  ///< none if the report cannot be used
  std::optional<std::string> failure;  ///< why, when values are not of the expected kind
};

/// Reads what `system_profiler SPDisplaysDataType -json` printed.
///
/// A text that is not JSON gives no list and no failure. A report without "SPDisplaysDataType"
/// gives an empty list. There is a failure where the platform's own code would raise an exception:
/// the report or one of its entries is not an object, the list is not an array, or "sppci_cores" is
/// neither a text nor a number. Any other member of the wrong type has no value.
DisplaysReport parseDisplaysReport(std::string_view text);

}  // namespace kelvora
