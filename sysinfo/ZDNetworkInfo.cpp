#include "KelvoraCore/ZDNetworkInfo.h"

#include <utility>

namespace kelvora {

ZDNetworkInfo::ZDNetworkInfo(std::optional<std::string> ipAddress,
                             std::optional<std::string> publicIpAddress,
                             std::optional<std::string> hostName)
    : ipAddress_(std::move(ipAddress)),
      publicIpAddress_(std::move(publicIpAddress)),
      hostName_(std::move(hostName)) {}

ZDNetworkInfo::ZDNetworkInfo(const ZDNetworkInfo& other)
    : ZDNetworkInfo(other.ipAddress(), other.publicIpAddress(), other.hostName()) {}

std::optional<std::string> ZDNetworkInfo::ipAddress() const {
  const std::lock_guard lock(mutex_);
  return ipAddress_;
}

std::optional<std::string> ZDNetworkInfo::publicIpAddress() const {
  const std::lock_guard lock(mutex_);
  return publicIpAddress_;
}

std::optional<std::string> ZDNetworkInfo::hostName() const {
  const std::lock_guard lock(mutex_);
  return hostName_;
}

void ZDNetworkInfo::setIpAddress(std::optional<std::string> value) {
  const std::lock_guard lock(mutex_);
  ipAddress_ = std::move(value);
}

void ZDNetworkInfo::setPublicIpAddress(std::optional<std::string> value) {
  const std::lock_guard lock(mutex_);
  publicIpAddress_ = std::move(value);
}

void ZDNetworkInfo::setHostName(std::optional<std::string> value) {
  const std::lock_guard lock(mutex_);
  hostName_ = std::move(value);
}

}  // namespace kelvora
