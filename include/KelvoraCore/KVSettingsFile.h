#pragma once

#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// The settings file and whether it can be used.
struct KELVORA_EXPORT KVSettingsFile {
  std::string path;  ///< e.g. "/home/anna/.config/group.com.kelvora/Settings.plist"
  bool exists = false;
  /// Why the settings in it cannot be read, e.g. "not a property list"; empty when they can be, or
  /// when the file does not exist.
  std::string fault;
  /// Why no program can write to the file now, e.g. "another program keeps it locked" or "the lock
  /// beside it: Permission denied"; empty when programs can lock it.
  std::string lockFault;
  /// Settings whose stored value is of another type, so that their default counts, by property:
  /// {"tempUnitCelsius"}.
  std::vector<std::string> mistyped;
  /// The file that programs write: where the symbolic links at `path` lead, else `path`.
  std::string target;
  /// A folder in the place of the file that every write makes beside `target` for a moment, so that
  /// nothing can be stored, e.g. "/home/anna/.config/group.com.kelvora/Settings.plist.new"; empty
  /// if no such folder exists.
  std::string obstacle;
};

/// The file behind `KVSettings`, read now and not changed; none on macOS, where the system stores
/// the settings itself. Without the file every setting has its default. Takes the lock for a
/// moment; while another program holds it, waits for it as long as a setter does (up to 5 s). Logs
/// nothing. Any thread.
KELVORA_EXPORT std::optional<KVSettingsFile> settingsFile(Platform& platform = Platform::current());

/// Whether this program can store settings: stores a setting under an unused name, reads it and
/// removes it. For systems without a settings file; elsewhere `settingsFile` answers without
/// changing the file. A failure is logged. Any thread.
KELVORA_EXPORT bool canStoreSettings(Platform& platform = Platform::current());

}  // namespace kelvora
