#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvora {

/// What a hardware report told of the machine; what it did not tell is none.
struct HardwareReport {
  std::optional<std::string> modelNumber;
  std::optional<std::string> serial;
  /// A name for a model that the catalogue does not know: "MacBook Pro (M9)".
  std::optional<std::string> fallbackName;
};

/// Reads what `system_profiler SPHardwareDataType -json` printed. A text that is not JSON, or has
/// values of other kinds than such a report, tells nothing there; nothing is logged.
HardwareReport parseHardwareReport(std::string_view text);

}  // namespace kelvora
