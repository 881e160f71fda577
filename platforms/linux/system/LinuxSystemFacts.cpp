#include "platforms/linux/system/LinuxSystemFacts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <utility>

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <limits.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platforms/linux/system/LinuxDisks.h"
#include "platforms/linux/system/ProcText.h"
#include "platforms/linux/system/TextFile.h"

namespace kelvora::platform {

namespace {

std::string addressText(const sockaddr& address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const void* number = nullptr;
  if (address.sa_family == AF_INET) {
    number = &reinterpret_cast<const sockaddr_in&>(address).sin_addr;
  } else if (address.sa_family == AF_INET6) {
    number = &reinterpret_cast<const sockaddr_in6&>(address).sin6_addr;
  }
  if (number == nullptr ||
      inet_ntop(address.sa_family, number, text.data(), text.size()) == nullptr) {
    return "";
  }
  return text.data();
}

bool isOutwardIPv4(const std::string& address) {
  return address.find(':') == std::string::npos && !address.starts_with("127.");
}

}  // namespace

LinuxSystemFacts::LinuxSystemFacts(std::string root) : root_(std::move(root)) {}

std::optional<OSVersion> LinuxSystemFacts::osVersion() {
  const std::string text = assignment("/etc/os-release", "VERSION_ID");
  std::array<std::int64_t, 3> parts{};
  const char* at = text.data();
  const char* end = at + text.size();
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const auto [stop, error] = std::from_chars(at, end, parts[i]);
    if (error != std::errc{} && i == 0) {
      return std::nullopt;
    }
    if (error != std::errc{} || stop == end || *stop != '.') {
      break;
    }
    at = stop + 1;
  }
  return OSVersion{parts[0], parts[1], parts[2]};
}

std::string LinuxSystemFacts::osVersionText() {
  return assignment("/etc/os-release", "PRETTY_NAME");
}

std::string LinuxSystemFacts::localizedHostName() {
  const std::string name = assignment("/etc/machine-info", "PRETTY_HOSTNAME");
  return name.empty() ? hostName() : name;
}

std::string LinuxSystemFacts::hostName() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

std::vector<std::string> LinuxSystemFacts::hostAddresses() {
  ifaddrs* first = nullptr;
  if (getifaddrs(&first) != 0) {
    return {};
  }
  const std::unique_ptr<ifaddrs, void (*)(ifaddrs*)> owner(first, freeifaddrs);
  std::vector<std::string> addresses;
  for (const ifaddrs* entry = first; entry != nullptr; entry = entry->ifa_next) {
    const std::string text = entry->ifa_addr == nullptr ? "" : addressText(*entry->ifa_addr);
    if (!text.empty()) {
      addresses.push_back(text);
    }
  }
  return addresses;
}

std::string LinuxSystemFacts::primaryHostAddress() {
  const auto addresses = hostAddresses();
  const auto outward = std::find_if(addresses.begin(), addresses.end(), isOutwardIPv4);
  if (outward != addresses.end()) {
    return *outward;
  }
  return addresses.empty() ? "" : addresses.front();
}

std::vector<std::string> LinuxSystemFacts::mountedVolumePaths() { return mountedVolumes(root_); }

std::optional<DiskDescription> LinuxSystemFacts::diskDescription(std::string_view path) {
  return describedDisk(root_, path);
}

std::vector<Display> LinuxSystemFacts::activeDisplays() { return connectedDisplays(root_); }

std::string LinuxSystemFacts::assignment(const char* file, const char* name) const {
  const auto values = assignmentsOf(readFile(root_ + file).value_or(""));
  const auto found = values.find(name);
  return found == values.end() ? "" : found->second;
}

}  // namespace kelvora::platform
