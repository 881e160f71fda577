#pragma once

#include <string>

#include "ports/SystemFacts.h"

namespace kelvora::platform {

/// Facts from /etc/os-release and /etc/machine-info, the host's name and interfaces, /proc/mounts
/// and /sys.
class LinuxSystemFacts : public SystemFacts {
 public:
  /// `root` is put before every path, empty for the system's. Name and addresses are always those
  /// of the running system.
  explicit LinuxSystemFacts(std::string root = "");
  /// VERSION_ID, e.g. "22.04" as 22, 4, 0.
  std::optional<OSVersion> osVersion() override;
  /// PRETTY_NAME, e.g. "Debian GNU/Linux 12 (bookworm)".
  std::string osVersionText() override;
  /// PRETTY_HOSTNAME of machine-info, else the host's name.
  std::string localizedHostName() override;
  std::string hostName() override;
  std::vector<std::string> hostAddresses() override;
  /// The first IPv4 address that is no loopback address, else the first address.
  std::string primaryHostAddress() override;
  std::vector<std::string> mountedVolumePaths() override;
  std::optional<DiskDescription> diskDescription(std::string_view path) override;
  std::vector<Display> activeDisplays() override;

 private:
  std::string assignment(const char* file, const char* name) const;

  std::string root_;
};

}  // namespace kelvora::platform
