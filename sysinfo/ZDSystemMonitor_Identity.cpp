#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "KelvoraCore/ZDSystemMonitor.h"

#include "base/NoneIfEmpty.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

// Four pieces between points.
bool isIPv4(std::string_view address) {
  return std::count(address.begin(), address.end(), '.') == 3;
}

std::optional<std::string> localAddress(platform::SystemFacts& facts) {
  std::string last;
  for (std::string& address : facts.hostAddresses()) {
    if (!address.starts_with("127") && isIPv4(address)) {
      last = std::move(address);
    }
  }
  return noneIfEmpty(last.empty() ? facts.primaryHostAddress() : last);
}

// Digits and points of what a child prints. If a child keeps printing them, the pipe is closed.
std::string scannedOutput(platform::ChildProcess& child) {
  constexpr std::size_t kMostScanned = 1 << 20;
  constexpr std::string_view kScanned = "0123456789.";
  std::string scanned;
  std::array<char, 4096> buffer;
  while (scanned.size() < kMostScanned) {
    const std::size_t count = child.readStandardOutput(std::as_writable_bytes(std::span(buffer)));
    if (count == 0) {
      return scanned;
    }
    std::copy_if(buffer.begin(), buffer.begin() + count, std::back_inserter(scanned),
                 [&](char c) { return kScanned.find(c) != std::string_view::npos; });
  }
  scanned.resize(kMostScanned);
  child.closeStandardOutput();
  return scanned;
}

std::string publicAddress(platform::ChildProcesses& children, const std::string& service) {
  platform::ChildRequest request;
  request.path = "/usr/bin/curl";
  request.arguments = {"-s", service};
  request.captureStandardOutput = true;
  const platform::ChildLaunch launch = children.launch(request);
  if (!launch.child) {
    return "";
  }
  std::string address = scannedOutput(*launch.child);
  launch.child->waitUntilExit();
  return address;
}

}  // namespace

ZDNetworkInfo ZDSystemMonitor::networkInfo() const {
  platform::SystemFacts& facts = platform_.systemFacts();
  auto address = localAddress(facts);
  auto service = publicAddress(platform_.childProcesses(), publicAddressService_);
  return {std::move(address), std::move(service), noneIfEmpty(facts.hostName())};
}

}  // namespace kelvora
