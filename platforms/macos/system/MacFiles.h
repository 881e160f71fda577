#pragma once

#include "platforms/posix/PosixFiles.h"

namespace kelvora::platform {

/// Files by POSIX; copies keep what the file system keeps with a file; the user's folders are those
/// of NSFileManager.
class MacFiles : public PosixFiles {
 public:
  bool copy(const std::string& from, const std::string& to) override;
  std::optional<std::string> documentsFolder() override;
  std::optional<std::string> applicationSupportFolder() override;
  std::optional<std::string> groupContainer(const std::string& groupIdentifier) override;
};

}  // namespace kelvora::platform
