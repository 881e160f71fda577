#pragma once

#include <string>
#include <vector>

#include "platforms/shared/MissingResources.h"
#include "ports/MainBundle.h"

namespace kelvora::platform {

/// The program's resources. Each is looked for in three folders, in this order: "Resources" beside
/// the executable (a build tree, or a program that carries its own), "../share/<name of the
/// executable>" (an installed program's own), "../share/KelvoraCore" (the library's, for a program
/// in the same installation). Localisations are the folders named "<code>.lproj" in them.
class LinuxMainBundle : public MainBundle {
 public:
  /// The running program's.
  LinuxMainBundle();
  /// Of an executable at a given path.
  explicit LinuxMainBundle(std::string executablePath);

  std::string executablePath() override;
  std::optional<std::string> resourcePath(std::string_view name, std::string_view type) override;
  std::vector<std::string> resourceFolders() override;
  /// From the environment, as gettext reads it: LANGUAGE, LC_ALL, LC_MESSAGES, LANG, then "en".
  std::vector<std::string> preferredLocalizations() override;
  /// Of the application at the path, or with an empty path of the one whose program this is.
  std::optional<PropertyListValue::Dictionary> informationDictionary(
      const std::string& bundlePath) override;

 private:
  std::string executablePath_;
  std::vector<std::string> resourceFolders_;
  MissingResources missing_;
};

/// The localisations out of `available` that the user wants, in the user's order, the development
/// language "en" last; "en" alone when none fits. `languages` are the locale names of the
/// environment in order of preference, e.g. {"de_AT.UTF-8", "C"}, with "_" or "-" between language,
/// script and territory; "zh_TW" fits "zh-Hant", "sr_Latn_RS" fits "sr-Latn" and "sr".
std::vector<std::string> matchedLocalizations(const std::vector<std::string>& languages,
                                              const std::vector<std::string>& available);

}  // namespace kelvora::platform
