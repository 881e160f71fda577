#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platforms/recorded/RecordedMachine.h"
#include "ports/IORegistry.h"

namespace kelvora::platform {

/// A registry of recorded services. A class that is not listed has none; without a list every query
/// fails. Children are the same in every plane. Any thread; entries may outlive the registry.
class RecordedRegistry : public IORegistry {
 public:
  using Services = std::vector<std::pair<std::string, RecordedRegistryEntry>>;

  explicit RecordedRegistry(std::optional<Services> services);
  std::optional<std::vector<std::unique_ptr<RegistryEntry>>> matchingServices(
      std::string_view serviceClass) override;

 private:
  std::shared_ptr<const Services> services_;  // null: not recorded
};

}  // namespace kelvora::platform
