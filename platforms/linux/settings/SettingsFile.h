#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/stat.h>

#include "KelvoraCore/PropertyListValue.h"

#include "platforms/linux/settings/SettingsReading.h"
#include "platforms/posix/FileDescriptor.h"
#include "ports/UserDefaults.h"

namespace kelvora::platform {

/// A property-list file of settings that several programs share.
///
/// Reading is a `stat` while the file is the one read last, and changes nothing. Writing takes a
/// lock beside the file ("Settings.plist.lock"), reads the file again, changes one setting, leaves
/// the others as they are (also values of other programs that no setting has), and replaces the
/// file as a whole (written beside it, brought to disk, renamed), so that a reader finds either the
/// old or the new one even when a writer is killed. A symbolic link is followed: the file that it
/// leads to is replaced. Mode 0600, new folders 0700; what root creates belongs to the owner of the
/// folder.
///
/// A file is in one of four states:
/// - missing: it has no settings;
/// - readable;
/// - unreadable (no right to read it, no descriptors, larger than 16 MB): the settings read last
///   remain, and nothing is written;
/// - damaged (not a property list of settings, or not a file): it counts as empty, is logged once,
///   and the first `write` keeps it under another name ("Settings.plist.unusable-1").
///
/// One thread at a time; any number of processes and objects.
class SettingsFile {
 public:
  using Values = PropertyListValue::Dictionary;

  /// How long `write` waits for another program's lock.
  static constexpr std::chrono::milliseconds kWaitOfWrite{5000};

  explicit SettingsFile(std::string path);

  /// The settings in the file. Valid until the next call.
  const Values& contents();
  /// One of them, e.g. of "KVMainSensor"; none when it is absent.
  std::optional<PropertyListValue> value(std::string_view key);

  /// Stores a setting, or removes it with none. Waits up to `kWaitOfWrite`. On failure
  /// returns false, logs it (the same reason once until a write succeeds) and stores nothing. A
  /// file that no program could read any more, e.g. one larger than 16 MB, is not written.
  bool write(std::string_view key, const std::optional<PropertyListValue>& value);

  /// Stores what `change` makes of a setting while no other program writes, and returns what the
  /// file then has. Returns none and stores nothing when the file is unreadable or cannot be
  /// written. A choice waits for another program's lock as `write` does. A default waits up to 0.2
  /// s, and not at all after a write that failed; it leaves a damaged file as it is.
  std::optional<PropertyListValue> change(std::string_view key,
                                          const UserDefaultsSuite::Change& change,
                                          SuiteWrite reason);

 private:
  bool isCurrent(const struct stat& facts) const;
  void reload();
  FileDescriptor beginWriting(std::chrono::milliseconds wait);
  bool store(std::string_view key, const std::optional<PropertyListValue>& value);
  bool replace(const std::vector<std::byte>& bytes);
  bool keepAside();
  std::chrono::milliseconds waitFor(SuiteWrite reason) const;
  bool fail(const std::string& why);

  std::string path_;
  std::string target_;  // where links lead; valid while writing
  Values contents_;
  std::vector<std::byte> bytes_;  // that `contents_` was read from; a write changes one entry in it
  SettingsState state_ = SettingsState::kMissing;
  // The file read last stays open, so that no later file can carry its inode number.
  FileDescriptor open_;
  std::optional<struct stat> facts_;  // of the file read last
  std::string readFailure_;           // logged last
  std::string writeFailure_;          // logged last
};

}  // namespace kelvora::platform
