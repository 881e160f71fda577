#pragma once

#include <optional>
#include <string>

#include "KelvoraCore/Platform.h"

namespace kelvora {

/// What macOS's system profiler reports about a data type, e.g. "SPDisplaysDataType", as JSON. None
/// if it cannot be run, which is logged, if it prints nothing, and on another system, which has no
/// such program. Blocks until the program has ended.
std::optional<std::string> systemProfilerReport(Platform& platform, const char* dataType);

}  // namespace kelvora
