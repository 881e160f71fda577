#include "platforms/macos/system/InterfaceMessages.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>

#include <net/if.h>
#include <net/if_dl.h>
#include <net/route.h>
#include <sys/socket.h>
#include <sys/sysctl.h>

namespace kelvora::platform {

namespace {

// Interfaces may be added between the question for the size and the one for the list.
constexpr int kMostTries = 3;

// A copy of the first bytes as a T, or as much of it as there is: messages are not aligned.
template <typename T>
T copied(std::span<const std::byte> bytes) {
  T value = {};
  std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof(value)));
  return value;
}

// The address after the message's head holds the interface's name, without a NUL.
std::string interfaceName(std::span<const std::byte> message) {
  const auto address = message.subspan(sizeof(if_msghdr2));
  constexpr std::size_t kNameOffset = offsetof(sockaddr_dl, sdl_data);
  const std::size_t length = copied<sockaddr_dl>(address).sdl_nlen;
  if (address.size() < kNameOffset + length) {
    return "";
  }
  return {reinterpret_cast<const char*>(address.data()) + kNameOffset, length};
}

}  // namespace

std::optional<std::vector<std::byte>> interfaceMessages(SystemControls& controls) {
  constexpr std::array kName = {CTL_NET, PF_ROUTE, 0, 0, NET_RT_IFLIST2, 0};
  int error = ENOMEM;
  for (int i = 0; i < kMostTries && error == ENOMEM; ++i) {
    std::size_t size = 0;
    error = controls.byNumber(kName, nullptr, &size);
    if (error != 0) {
      break;
    }
    std::vector<std::byte> messages(size);
    error = size == 0 ? 0 : controls.byNumber(kName, messages.data(), &size);
    if (error == 0) {
      messages.resize(std::min(size, messages.size()));
      return messages;
    }
  }
  return std::nullopt;
}

std::vector<InterfaceCounters> interfaceCountersOf(std::span<const std::byte> messages) {
  std::vector<InterfaceCounters> counters;
  while (messages.size() >= sizeof(std::uint16_t)) {
    const std::size_t length = copied<std::uint16_t>(messages);
    if (length < sizeof(std::uint16_t) || length > messages.size()) {
      break;
    }
    const auto message = messages.first(length);
    messages = messages.subspan(length);
    const auto head = copied<if_msghdr2>(message);
    if (head.ifm_type == RTM_IFINFO2 && length >= sizeof(head)) {
      counters.push_back(
          {interfaceName(message), head.ifm_data.ifi_ibytes, head.ifm_data.ifi_obytes});
    }
  }
  return counters;
}

}  // namespace kelvora::platform
