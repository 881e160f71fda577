#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

/// The file that holds the recorded Mac that an account has chosen, and what was written to its
/// SMC: {"format": "kelvora-choice", "version": 1, "name": what it was chosen by, "machine": the
/// machine file, "writes": [{"key": "F0Md", "bytes": "01"}]}. Writers replace it as a whole, one at
/// a time. It is used only when it is a file of the account itself: no symbolic link, and no other
/// account may write it. One thread at a time; any number of processes and objects.
class ChoiceFile {
 public:
  static constexpr const char* kFormat = "kelvora-choice";

  /// The choice in a support folder, e.g. "/home/anna/.local/share/Kelvora".
  static std::string pathIn(const std::string& supportFolder) {
    return supportFolder + "/Machine.json";
  }

  explicit ChoiceFile(std::string path);

  const std::string& path() const { return path_; }
  /// Whether there is anything at the path, usable or not. One call to the file system.
  bool exists() const;
  /// Whether the file is still the one that `read` saw last, usable or not; false after `write`.
  /// One call to the file system.
  bool isCurrent() const;

  /// Reads the file. Throws MachineFileError when it is missing, it may not be used, or it is not
  /// of the format, and leaves it as it is. Members other than the format's are not checked.
  const nlohmann::json& read();
  /// What the last successful `read` returned.
  const nlohmann::json& content() const { return content_; }

  /// Waits for other writers, up to two seconds. Throws MachineFileError.
  FileDescriptor lock() const;
  /// Replaces the file, onto the disk; the folder must exist, and the caller holds the lock. Throws
  /// MachineFileError, and the file is as before.
  void write(const nlohmann::json& content);
  /// Removes what is at the path, whatever it is: after the writer that is at work, or after two
  /// seconds. A folder must be empty. Throws MachineFileError.
  void remove() const;

 private:
  [[noreturn]] void refuse(const std::string& fault) const;
  void requireUsable(const struct stat& facts) const;
  std::string readText(int descriptor) const;

  std::string path_;
  nlohmann::json content_;
  // The file read last stays open, so that no later file can carry its inode number.
  FileDescriptor open_;
  std::optional<struct stat> facts_;
};

}  // namespace kelvora::platform
