#pragma once

#include <string_view>

namespace kelvora {

/// Writes one line to the system log: the unified log on macOS, standard error on Linux. Any
/// thread.
void log(std::string_view line);

}  // namespace kelvora
