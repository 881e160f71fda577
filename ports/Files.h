#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelvora::platform {

struct FileAttributes {
  std::string ownerAccountName;        ///< e.g. "root"; empty when the account is unknown
  std::string groupOwnerAccountName;   ///< e.g. "admin"
  std::uint32_t posixPermissions = 0;  ///< the twelve permission bits, e.g. 06555
};

/// The file manager, and the folders that the system gives a user. Paths are UTF-8. Any thread.
class Files {
 public:
  virtual ~Files() = default;
  /// Follows symbolic links.
  virtual bool exists(const std::string& path) = 0;
  /// Copies a file with its permissions; false when it cannot, also when `to` exists already.
  virtual bool copy(const std::string& from, const std::string& to) = 0;
  /// None when the file is missing or may not be looked at.
  virtual std::optional<FileAttributes> attributes(const std::string& path) = 0;
  /// Entry names of a folder, without recursion, sorted; none when it cannot be listed.
  virtual std::optional<std::vector<std::string>> list(const std::string& folder) = 0;
  virtual bool remove(const std::string& path) = 0;
  /// Creates a folder with its parents; true also when it stands already.
  virtual bool createFolder(const std::string& path) = 0;
  /// The user's documents folder, e.g. "/Users/anna/Documents"; none when the system has none.
  virtual std::optional<std::string> documentsFolder() = 0;
  /// The user's application-support folder, e.g. "/Users/anna/Library/Application Support".
  virtual std::optional<std::string> applicationSupportFolder() = 0;
  /// The folder that the programs of an application group share; none when there is none.
  virtual std::optional<std::string> groupContainer(const std::string& groupIdentifier) = 0;
};

}  // namespace kelvora::platform
