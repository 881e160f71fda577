#pragma once

#include "platforms/shared/MissingResources.h"
#include "ports/MainBundle.h"

namespace kelvora::platform {

/// The main bundle of the process. A program without a bundle, e.g. a command-line tool, also finds
/// its resources in the folders beside its executable (platforms/posix/ResourceFolders.h).
class MacMainBundle : public MainBundle {
 public:
  std::string executablePath() override;
  std::optional<std::string> resourcePath(std::string_view name, std::string_view type) override;
  std::vector<std::string> preferredLocalizations() override;
  std::optional<PropertyListValue::Dictionary> informationDictionary(
      const std::string& bundlePath) override;
  /// The bundle's folder of resources first.
  std::vector<std::string> resourceFolders() override;

 private:
  MissingResources missing_;
};

}  // namespace kelvora::platform
