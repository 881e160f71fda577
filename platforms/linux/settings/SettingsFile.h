#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <sys/stat.h>

#include "KelvoraCore/PropertyListValue.h"

#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

/// Settings to change: a value to store under a key, or none to remove the key.
using SettingsChanges = std::map<std::string, std::optional<PropertyListValue>, std::less<>>;

/// A property-list file of settings that several programs share.
///
/// Reading is a `stat` while the file is the one read last. Writing takes a lock beside the file
/// ("Settings.plist.lock"), reads the file again, changes only what was asked, and replaces the
/// file as a whole (written beside it, brought to disk, renamed), so that a reader finds either the
/// old or the new one even when a writer is killed. Mode 0600, its folders 0700.
///
/// A file that holds no settings (damaged, of another kind, no file at all, not readable) counts as
/// empty, is logged once, and is kept under another name ("Settings.plist.unusable-1") when the
/// first write replaces it. One thread at a time; any number of processes and objects.
class SettingsFile {
 public:
  explicit SettingsFile(std::string path);

  /// What the file holds now; empty when it is missing or unusable. Valid until the next call.
  const PropertyListValue::Dictionary& contents();

  /// Writes the changes; false when they could not be (logged once until a write succeeds).
  bool write(const SettingsChanges& changes);

  const std::string& path() const { return path_; }

 private:
  enum class State : std::uint8_t { kMissing, kUsable, kUnusable, kUnavailable };

  bool isCurrent(const struct stat& facts) const;
  void reload();
  void forget(State state, const std::string& why);
  bool replace(const PropertyListValue::Dictionary& values);
  bool keepAside();
  bool fail(const std::string& what);

  std::string path_;
  PropertyListValue::Dictionary contents_;
  State state_ = State::kMissing;
  // The file read last stays open, so that no later file can carry its inode number.
  FileDescriptor open_;
  std::optional<struct stat> facts_;
  std::string logged_;
  bool failureLogged_ = false;
};

}  // namespace kelvora::platform
