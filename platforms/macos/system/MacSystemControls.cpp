#include "platforms/macos/system/MacSystemControls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <vector>

#include <net/if.h>
#include <net/route.h>
#include <sys/socket.h>
#include <sys/sysctl.h>

#include "ports/RoutingMessages.h"

namespace kelvora::platform {

// The list of network interfaces as the library reads it is the system's.
static_assert(std::ranges::equal(kInterfaceListControl,
                                 std::array{CTL_NET, PF_ROUTE, 0, 0, NET_RT_IFLIST2, 0}));
static_assert(InterfaceMessage::kType == RTM_IFINFO2);
static_assert(sizeof(InterfaceMessage) == sizeof(if_msghdr2));
static_assert(offsetof(RoutingMessageHead, lengthBytes) == offsetof(if_msghdr2, ifm_msglen));
static_assert(offsetof(RoutingMessageHead, type) == offsetof(if_msghdr2, ifm_type));
static_assert(offsetof(InterfaceMessage, receivedBytes) ==
              offsetof(if_msghdr2, ifm_data.ifi_ibytes));
static_assert(offsetof(InterfaceMessage, sentBytes) == offsetof(if_msghdr2, ifm_data.ifi_obytes));

int MacSystemControls::byName(const char* name, void* value, std::size_t* size) {
  return sysctlbyname(name, value, size, nullptr, 0) == 0 ? 0 : errno;
}

int MacSystemControls::byNumber(std::span<const int> name, void* value, std::size_t* size) {
  std::vector<int> numbers(name.begin(), name.end());
  return sysctl(numbers.data(), static_cast<unsigned int>(numbers.size()), value, size, nullptr,
                0) == 0
             ? 0
             : errno;
}

}  // namespace kelvora::platform
