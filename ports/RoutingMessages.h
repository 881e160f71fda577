#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// The kernel's list of network interfaces as it leaves a routing control: one message after the
// other, not aligned, each of which starts with its own length. Numbers are in the host's order.
namespace kelvora::platform {

/// Network, routing sockets, any protocol, any address family, interface list of version 2, all
/// interfaces.
inline constexpr std::array kInterfaceListControl = {4, 17, 0, 0, 6, 0};

/// The start of every message.
struct RoutingMessageHead {
  std::uint16_t lengthBytes = 0;  ///< of the whole message, this head included
  std::uint8_t version = 0;
  std::uint8_t type = 0;
};
static_assert(sizeof(RoutingMessageHead) == 4);

/// The message of an interface (if_msghdr2). Its addresses follow it, e.g. its name.
struct InterfaceMessage {
  static constexpr std::uint8_t kType = 18;  ///< interface information, version 2

  RoutingMessageHead head;
  std::int32_t addresses = 0;  ///< a bit for each address that follows
  std::int32_t flags = 0;
  std::uint16_t index = 0;
  std::uint16_t padding = 0;
  std::array<std::int32_t, 4> sendQueue{};
  std::array<std::uint8_t, 8> kind{};
  std::uint32_t mtuBytes = 0;
  std::uint32_t metric = 0;
  std::uint64_t bitsPerSecond = 0;
  std::uint64_t receivedPackets = 0;
  std::uint64_t receiveErrors = 0;
  std::uint64_t sentPackets = 0;
  std::uint64_t sendErrors = 0;
  std::uint64_t collisions = 0;
  std::uint64_t receivedBytes = 0;
  std::uint64_t sentBytes = 0;
  std::array<std::uint64_t, 4> multicastsAndDrops{};
  std::array<std::uint32_t, 4> times{};
};
static_assert(offsetof(InterfaceMessage, receivedBytes) == 96);
static_assert(offsetof(InterfaceMessage, sentBytes) == 104);
static_assert(sizeof(InterfaceMessage) == 160);

}  // namespace kelvora::platform
