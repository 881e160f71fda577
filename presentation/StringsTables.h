#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "presentation/StringsTable.h"

namespace kelvora {

/// The tables read so far, by file; a file is read again when it has changed. Any thread.
class StringsTables {
 public:
  /// The tables of the process. Never destroyed.
  static StringsTables& shared();

  /// The table of a file; never null. An empty one when there is no file, and when the file is not
  /// a table, which is logged once.
  std::shared_ptr<const StringsTable> tableOf(const std::string& path);

 private:
  struct Entry {
    std::filesystem::file_time_type changed;
    std::shared_ptr<const StringsTable> table;
  };

  std::mutex mutex_;
  std::map<std::string, Entry, std::less<>> entries_;
};

}  // namespace kelvora
