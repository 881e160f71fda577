#include "sysinfo/InterfaceList.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "ports/RoutingMessages.h"
#include "ports/SystemControls.h"

namespace kelvora {

namespace {

constexpr int kMostTries = 3;

// A copy, because messages are not aligned. `bytes` holds at least a T.
template <typename T>
T copied(std::span<const std::byte> bytes) {
  T value;
  std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

// Fills `list` and returns 0, or returns the error number.
int readInterfaceList(platform::SystemControls& controls, std::vector<std::byte>& list) {
  std::size_t size = 0;
  if (const int error = controls.byNumber(platform::kInterfaceListControl, nullptr, &size)) {
    return error;
  }
  list.resize(size);
  if (size == 0) {
    return 0;
  }
  const int error = controls.byNumber(platform::kInterfaceListControl, list.data(), &size);
  list.resize(std::min(size, list.size()));
  return error;
}

}  // namespace

std::vector<std::byte> interfaceList(platform::SystemControls& controls) {
  std::vector<std::byte> list;
  int error = ENOMEM;
  for (int i = 0; i < kMostTries && error == ENOMEM; ++i) {
    error = readInterfaceList(controls, list);
  }
  if (error != 0) {
    throw std::system_error(error, std::generic_category());
  }
  return list;
}

ZDNetworkUsage interfaceTotals(std::span<const std::byte> list) {
  ZDNetworkUsage totals;
  while (list.size() >= sizeof(platform::RoutingMessageHead)) {
    const auto head = copied<platform::RoutingMessageHead>(list);
    if (head.lengthBytes == 0 || head.lengthBytes > list.size()) {
      break;
    }
    if (head.type == platform::InterfaceMessage::kType &&
        head.lengthBytes >= sizeof(platform::InterfaceMessage)) {
      const auto interface = copied<platform::InterfaceMessage>(list);
      totals.received += interface.receivedBytes;
      totals.sent += interface.sentBytes;
    }
    list = list.subspan(head.lengthBytes);
  }
  return totals;
}

}  // namespace kelvora
