#include "platforms/posix/NewFiles.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"

namespace kelvora::platform {

namespace {

std::string parentOf(const std::string& path) {
  const std::string parent = std::filesystem::path(path).parent_path().string();
  return parent.empty() ? "." : parent;
}

bool giveFolder(const std::string& folder) {
  const FileDescriptor opened(
      open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return opened.isOpen() && giveToOwnerOfFolder(opened.get(), folder);
}

}  // namespace

bool giveToOwnerOfFolder(int descriptor, const std::string& path) {
  if (geteuid() != 0) {
    return true;
  }
  struct stat parent = {};
  return stat(parentOf(path).c_str(), &parent) == 0 &&
         fchown(descriptor, parent.st_uid, parent.st_gid) == 0;
}

bool createOwnedFolders(const std::string& folder) {
  std::error_code error;
  if (folder.empty() || std::filesystem::is_directory(folder, error)) {
    return true;
  }
  if (!createOwnedFolders(std::filesystem::path(folder).parent_path().string())) {
    return false;
  }
  if (mkdir(folder.c_str(), S_IRWXU) != 0) {
    return errno == EEXIST;
  }
  return geteuid() != 0 || giveFolder(folder);
}

}  // namespace kelvora::platform
