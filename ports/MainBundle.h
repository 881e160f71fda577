#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::platform {

/// The bundle of the program that runs: its executable, its resources, and the information
/// dictionary of any bundle. Any thread.
class MainBundle {
 public:
  virtual ~MainBundle() = default;
  /// Absolute path of the running executable.
  virtual std::string executablePath() = 0;
  /// Absolute path of a resource, e.g. ("Database", "momd") or ("de", "lproj"); none when missing.
  /// An empty `type` adds no extension. The first missing resource of each type is logged, with the
  /// folders in which it was looked for; one without a type is not.
  virtual std::optional<std::string> resourcePath(std::string_view name, std::string_view type) = 0;
  /// Codes of the bundle's localisations in the order of the user's preference, e.g. {"de", "en"}.
  virtual std::vector<std::string> preferredLocalizations() = 0;
  /// The information dictionary of the bundle at a path (empty: of the running program); none when
  /// there is no bundle.
  virtual std::optional<PropertyListValue::Dictionary> informationDictionary(
      const std::string& bundlePath) = 0;
  /// Folders in which resources are looked for, the first one first; they need not exist.
  virtual std::vector<std::string> resourceFolders() { return {}; }
};

}  // namespace kelvora::platform
