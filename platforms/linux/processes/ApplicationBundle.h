#pragma once

#include <optional>
#include <string>

#include "KelvoraCore/PropertyListValue.h"

namespace kelvora::platform {

/// An application: a folder with an information dictionary, "Info.plist", and a program. Both are
/// in the folder itself, or as on macOS in its "Contents" and "Contents/MacOS".
struct ApplicationBundle {
  std::string path;  ///< e.g. "/home/anna/.local/share/Kelvora/Kelvora Menu.app"
  PropertyListValue::Dictionary information;
  std::string executablePath;  ///< by CFBundleExecutable; empty when it names none

  /// A text of the information dictionary, e.g. "CFBundleIdentifier"; empty when it has none.
  std::string text(const std::string& key) const;
  /// CFBundleName, else the folder's name without its extension.
  std::string name() const;
};

/// The application at a path; none if there is no information dictionary.
std::optional<ApplicationBundle> applicationAt(const std::string& path);

/// The application that has this executable; none if no application has it.
std::optional<ApplicationBundle> applicationOfExecutable(const std::string& executablePath);

}  // namespace kelvora::platform
