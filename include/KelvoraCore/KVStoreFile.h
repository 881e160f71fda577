#pragma once

#include <optional>
#include <string>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// The file of the product's stored objects, and whether it can be used.
struct KELVORA_EXPORT KVStoreFile {
  std::string path;     ///< e.g. "/home/anna/.local/share/group.com.kelvora/Database.sqlite"
  bool exists = false;  ///< also true when its folder cannot be searched and existence is unknown
  /// Why programs cannot use it, e.g. "file is not a database", "the file was written with another
  /// model" or "Permission denied", or what is wrong beside the file, e.g.
  /// "/.../Database.sqlite-wal: not a file"; empty when they can, or when the file does not exist.
  std::string fault;
  /// Whether an earlier version of the product wrote it. A program that opens it for writing brings
  /// it up to date; until then none can open it for reading only.
  bool isOlder = false;
};

/// The file behind `KVCoreDataStore`, opened for reading and checked page by page: a gigabyte may
/// take seconds. Creates and changes nothing, also while programs write to the file, except that
/// the index of a log which a killed program left is made again. None when the system has no folder
/// for it. Logs nothing. Any thread.
KELVORA_EXPORT std::optional<KVStoreFile> storeFile(Platform& platform = Platform::current());

}  // namespace kelvora
