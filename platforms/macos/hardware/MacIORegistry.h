#pragma once

#include "ports/IORegistry.h"

namespace kelvora::platform {

/// The I/O registry of this Mac. Any thread.
class MacIORegistry : public IORegistry {
 public:
  std::optional<std::vector<std::unique_ptr<RegistryEntry>>> matchingServices(
      std::string_view serviceClass) override;
};

}  // namespace kelvora::platform
