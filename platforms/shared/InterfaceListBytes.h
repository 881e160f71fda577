#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kelvora::platform {

/// Byte counters of one network interface since start-up.
struct InterfaceCounters {
  std::string name;  ///< e.g. "en0"
  std::uint64_t receivedBytes = 0;
  std::uint64_t sentBytes = 0;
};

/// The value of the control `kInterfaceListControl` for these interfaces, in their order: a message
/// for each, without addresses.
std::vector<std::byte> interfaceListBytes(std::span<const InterfaceCounters> interfaces);

}  // namespace kelvora::platform
