#pragma once

#include "ports/Files.h"

namespace kelvora::platform {

/// What every POSIX system does alike with files. How a file is copied and which folders a user has
/// is left to each system.
class PosixFiles : public Files {
 public:
  bool exists(const std::string& path) override;
  std::optional<FileAttributes> attributes(const std::string& path) override;
  std::optional<std::vector<std::string>> list(const std::string& folder) override;
  bool remove(const std::string& path) override;
  bool createFolder(const std::string& path) override;
  bool replace(const std::string& path, std::span<const std::byte> bytes,
               std::error_code& error) override;
  std::unique_ptr<HeldLock> lock(const std::string& path, std::chrono::milliseconds wait,
                                 std::error_code& error) override;
};

}  // namespace kelvora::platform
