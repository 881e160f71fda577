#pragma once

#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::platform {

/// Reports resources that were not found. Any thread.
class MissingResources {
 public:
  /// Logs the first missing resource of each type, e.g. "Database.momd" of "momd", with the folders
  /// in which it was looked for.
  void log(std::string_view resource, std::string_view type,
           const std::vector<std::string>& folders);

 private:
  std::mutex mutex_;
  std::set<std::string, std::less<>> types_;  // logged already
};

}  // namespace kelvora::platform
