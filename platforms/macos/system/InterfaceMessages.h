#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "ports/HostStatistics.h"
#include "ports/SystemControls.h"

namespace kelvora::platform {

/// The kernel's list of network interfaces (NET_RT_IFLIST2): a row of messages, each of which
/// starts with its own 16-bit length. None if the query fails.
std::optional<std::vector<std::byte>> interfaceMessages(SystemControls& controls);

/// The counters of every interface in such a list. Ends at the first message that is cut off.
std::vector<InterfaceCounters> interfaceCountersOf(std::span<const std::byte> messages);

}  // namespace kelvora::platform
