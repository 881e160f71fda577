#pragma once

#include <optional>
#include <string_view>

#include "ports/ChildProcesses.h"

namespace kelvora {

class Platform;

/// How the privileged tool is run to write the bytes of a hexadecimal text, e.g. ("0fa0", "F0Tg");
/// none while it is not installed. Any thread.
std::optional<platform::ChildRequest> privilegedToolRequest(Platform& platform,
                                                            std::string_view value,
                                                            std::string_view key);

}  // namespace kelvora
