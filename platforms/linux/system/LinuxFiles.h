#pragma once

#include "platforms/posix/PosixFiles.h"

namespace kelvora::platform {

/// Files by POSIX; the user's folders by the desktop's base-directory rules: the documents folder
/// of user-dirs.dirs (else "Documents" in the home folder), $XDG_DATA_HOME (else ~/.local/share)
/// for application support, and in that one folder per application group, made when it is asked
/// for.
class LinuxFiles : public PosixFiles {
 public:
  bool copy(const std::string& from, const std::string& to) override;
  std::optional<std::string> documentsFolder() override;
  std::optional<std::string> applicationSupportFolder() override;
  std::optional<std::string> groupContainer(const std::string& groupIdentifier) override;
};

}  // namespace kelvora::platform
