#include "platforms/shared/InterfaceListBytes.h"

#include "ports/RoutingMessages.h"

namespace kelvora::platform {

std::vector<std::byte> interfaceListBytes(std::span<const InterfaceCounters> interfaces) {
  constexpr std::uint8_t kRoutingVersion = 5;
  std::vector<std::byte> bytes;
  for (const InterfaceCounters& interface : interfaces) {
    InterfaceMessage message;
    message.head = {sizeof message, kRoutingVersion, InterfaceMessage::kType};
    message.receivedBytes = interface.receivedBytes;
    message.sentBytes = interface.sentBytes;
    const auto all = std::as_bytes(std::span(&message, 1));
    bytes.insert(bytes.end(), all.begin(), all.end());
  }
  return bytes;
}

}  // namespace kelvora::platform
