#include "base/FileVersion.h"

#include <sys/stat.h>

namespace kelvora {

namespace {

FileVersion::Time timeOf(const timespec& time) { return {time.tv_sec, time.tv_nsec}; }

// Linux and macOS name the times differently.
template <typename Facts>
FileVersion versionOf(const Facts& facts) {
  FileVersion version;
  version.device = static_cast<std::uint64_t>(facts.st_dev);
  version.inode = facts.st_ino;
  version.bytes = facts.st_size;
  if constexpr (requires { facts.st_ctim; }) {
    version.modified = timeOf(facts.st_mtim);
    version.changed = timeOf(facts.st_ctim);
  } else {
    version.modified = timeOf(facts.st_mtimespec);
    version.changed = timeOf(facts.st_ctimespec);
  }
  return version;
}

}  // namespace

std::optional<FileVersion> fileVersion(const std::string& path) {
  struct stat facts = {};
  return stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode) ? std::optional(versionOf(facts))
                                                                   : std::nullopt;
}

}  // namespace kelvora
