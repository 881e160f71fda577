#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/FileVersion.h"
#include "presentation/StringsTable.h"

namespace kelvora {

/// The tables read so far, by file; a file is read again when it has changed. Any thread.
class StringsTables {
 public:
  /// The tables of the process. Never destroyed.
  static StringsTables& shared();

  /// The table of a file; never null. An empty one when there is no file, and when the file is not
  /// a table, which is logged once. A file that cannot be read now, e.g. for lack of descriptors,
  /// is logged once and tried again each time; until then its last table counts.
  std::shared_ptr<const StringsTable> tableOf(const std::string& path);

 private:
  struct Entry {
    std::optional<FileVersion> version;  // of the file read last
    std::shared_ptr<const StringsTable> table = std::make_shared<const StringsTable>();
    std::string failure;  // logged last
  };
  static void read(const std::string& path, const FileVersion& version, Entry& entry);

  std::mutex mutex_;
  std::map<std::string, Entry, std::less<>> entries_;
};

}  // namespace kelvora
