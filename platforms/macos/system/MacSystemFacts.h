#pragma once

#include "ports/SystemFacts.h"

namespace kelvora::platform {

/// Facts of the running system. Host names and addresses may wait for the name service.
class MacSystemFacts : public SystemFacts {
 public:
  std::optional<OSVersion> osVersion() override;
  std::string osVersionText() override;
  std::string localizedHostName() override;
  std::string hostName() override;
  std::vector<std::string> hostAddresses() override;
  std::string primaryHostAddress() override;
  std::vector<std::string> mountedVolumePaths() override;
  std::optional<DiskDescription> diskDescription(std::string_view path) override;
  std::vector<Display> activeDisplays() override;
};

}  // namespace kelvora::platform
