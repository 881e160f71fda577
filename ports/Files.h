#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <vector>

namespace kelvora::platform {

/// Who owns a file, and who may do what with it.
struct FileAttributes {
  std::string ownerAccountName;        ///< e.g. "root"; empty when the account is unknown
  std::string groupOwnerAccountName;   ///< e.g. "admin"
  std::uint32_t posixPermissions = 0;  ///< the twelve permission bits, e.g. 06555
  bool isRegularFile = true;           ///< false for a folder, a symbolic link and anything else
  std::uint64_t names = 1;             ///< above 1 for a file with hard links
};

/// A lock that is held until the end of the object, or of the process.
class HeldLock {
 public:
  virtual ~HeldLock() = default;
  /// For `ChildRequest::standardOutput`: a program that is started with it holds the lock too,
  /// until it ends.
  virtual int descriptor() const = 0;
};

/// The file manager, and the folders that the system gives a user. Paths are UTF-8. Failures are
/// not logged. Any thread.
class Files {
 public:
  virtual ~Files() = default;
  /// Whether a file or folder exists at `path`. Follows symbolic links: false for a dangling one.
  virtual bool exists(const std::string& path) = 0;
  /// Copies a file with its permissions. False on any failure, and if `to` exists already.
  virtual bool copy(const std::string& from, const std::string& to) = 0;
  /// Owner, group and permissions of a file; those of a symbolic link are its own. None if the file
  /// is missing or this user may not see it.
  virtual std::optional<FileAttributes> attributes(const std::string& path) = 0;
  /// Names of the entries of a folder, sorted, without those of its folders; none if it cannot be
  /// listed.
  virtual std::optional<std::vector<std::string>> list(const std::string& folder) = 0;
  /// Removes a file, or a folder with everything in it. False if it does not exist, or if something
  /// in it cannot be removed.
  virtual bool remove(const std::string& path) = 0;
  /// Creates a folder and its parents. Returns whether the folder exists afterwards, so true also
  /// for one that existed.
  virtual bool createFolder(const std::string& path) = 0;
  /// Puts a file with these bytes, readable by its owner only, in the place of `path`. Every reader
  /// has the old bytes or the new ones, also after a power failure; the new ones are on the disk
  /// when it returns true. On failure the file is as it was, and `error` is the reason. One writer
  /// at a time.
  virtual bool replace(const std::string& path, std::span<const std::byte> bytes,
                       std::error_code& error) = 0;
  /// Takes the lock of a file that exists for its lock alone; creates the file, readable by its
  /// owner only, if it is missing. Null on failure with the reason in `error`: std::errc::timed_out
  /// when somebody else has held the lock all of `wait`, of which 0 tries once.
  virtual std::unique_ptr<HeldLock> lock(const std::string& path, std::chrono::milliseconds wait,
                                         std::error_code& error) = 0;
  /// The user's documents folder, e.g. "/Users/anna/Documents"; none if the system has none. The
  /// folder need not exist.
  virtual std::optional<std::string> documentsFolder() = 0;
  /// The user's application-support folder, e.g. "/Users/anna/Library/Application Support"; none if
  /// the system has none. The folder need not exist.
  virtual std::optional<std::string> applicationSupportFolder() = 0;
  /// The folder that the programs of an application group share, e.g. of "group.com.kelvora"; none
  /// if the system has none. The folder need not exist.
  virtual std::optional<std::string> groupContainer(const std::string& groupIdentifier) = 0;
};

}  // namespace kelvora::platform
