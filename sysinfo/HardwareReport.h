#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kelvora {

/// The facts in a hardware report. A fact that it lacks has no value.
struct HardwareReport {
  std::optional<std::string> modelNumber;
  std::optional<std::string> serial;
  /// A name for a model that the catalogue does not know: "MacBook Pro (M9)".
  std::optional<std::string> fallbackName;
};

/// Reads what `system_profiler SPHardwareDataType -json` printed. A text that is not JSON, or has
/// values of other kinds, lacks what they would hold; nothing is logged.
HardwareReport parseHardwareReport(std::string_view text);

}  // namespace kelvora
