#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "KelvoraCore/ZDUsage.h"

namespace kelvora {

namespace platform {
class SystemControls;
}

/// The kernel's list of network interfaces, as ports/RoutingMessages.h describes it; empty if there
/// are none. Asks for the size, then for the list; again if interfaces were added between the two,
/// three times in all. Throws std::system_error with the system's error number.
std::vector<std::byte> interfaceList(platform::SystemControls& controls);

/// The sum of the counters of all interfaces in such a list. Messages of other types and those too
/// short for their type count nothing; a message that is cut off ends the list.
ZDNetworkUsage interfaceTotals(std::span<const std::byte> list);

}  // namespace kelvora
