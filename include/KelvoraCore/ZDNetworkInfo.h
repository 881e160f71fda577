#pragma once

#include <mutex>
#include <optional>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

/// Who the machine is on its networks. Unlike the other records it may be read and written by
/// several threads at once, text by text.
class KELVORA_EXPORT ZDNetworkInfo {
 public:
  /// A record of these texts; none where the system has no answer.
  ZDNetworkInfo(std::optional<std::string> ipAddress, std::optional<std::string> publicIpAddress,
                std::optional<std::string> hostName);
  /// Each text is copied as it is at that moment; another thread may write between two of them.
  ZDNetworkInfo(const ZDNetworkInfo& other);
  ZDNetworkInfo& operator=(const ZDNetworkInfo&) = delete;

  std::optional<std::string> ipAddress() const;        ///< e.g. "192.0.2.10"
  std::optional<std::string> publicIpAddress() const;  ///< as the Internet sees the machine
  std::optional<std::string> hostName() const;         ///< e.g. "annas-macbook-pro.local"
  // Each setter replaces one text; a thread that reads gets the old or the new one whole.

  void setIpAddress(std::optional<std::string> value);
  void setPublicIpAddress(std::optional<std::string> value);
  void setHostName(std::optional<std::string> value);

 private:
  mutable std::mutex mutex_;
  std::optional<std::string> ipAddress_;
  std::optional<std::string> publicIpAddress_;
  std::optional<std::string> hostName_;
};

}  // namespace kelvora
