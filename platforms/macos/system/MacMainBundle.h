#pragma once

#include "platforms/shared/MissingResources.h"
#include "ports/MainBundle.h"

namespace kelvora::platform {

/// The main bundle of the process. What it lacks is looked for in the folders beside the executable
/// (platforms/posix/ResourceFolders.h), where a command-line tool has its resources, and then in
/// the framework that the library is in.
class MacMainBundle : public MainBundle {
 public:
  MacMainBundle();
  /// `library` is the file that the library's code is in, e.g.
  /// "/Applications/Kelvora.app/Contents/Frameworks/KelvoraCore.framework/Versions/A/KelvoraCore".
  explicit MacMainBundle(const std::string& library);
  std::string executablePath() override;
  std::optional<std::string> resourcePath(std::string_view name, std::string_view type) override;
  std::vector<std::string> preferredLocalizations() override;
  std::optional<PropertyListValue::Dictionary> informationDictionary(
      const std::string& bundlePath) override;
  /// The bundle's folder of resources first.
  std::vector<std::string> resourceFolders() override;

 private:
  std::vector<std::string> otherFolders();

  const std::string libraryResources_;
  MissingResources missing_;
};

}  // namespace kelvora::platform
