#include "platforms/posix/NewFiles.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platforms/posix/FileDescriptor.h"
#include "ports/NewFile.h"

namespace kelvora::platform {

namespace {

constexpr mode_t kFileMode = S_IRUSR | S_IWUSR;
constexpr mode_t kUsualFileMode = 0666;
constexpr mode_t kUsualFolderMode = 0777;
constexpr int kMostLinks = 40;

bool writeAll(int descriptor, std::span<const std::byte> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) {
      return false;
    }
    bytes = bytes.subspan(count < 0 ? 0 : static_cast<std::size_t>(count));
  }
  return true;
}

std::string parentOf(const std::string& path) {
  const std::string parent = std::filesystem::path(path).parent_path().string();
  return parent.empty() ? "." : parent;
}

bool giveFolder(const std::string& folder) {
  const FileDescriptor opened(
      open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return opened.isOpen() && giveToOwnerOfFolder(opened.get(), folder);
}

bool createFolders(const std::string& folder, mode_t mode) {
  std::error_code error;
  if (folder.empty() || std::filesystem::is_directory(folder, error)) {
    return true;
  }
  if (!createFolders(std::filesystem::path(folder).parent_path().string(), mode)) {
    return false;
  }
  if (mkdir(folder.c_str(), mode) != 0) {
    return errno == EEXIST;
  }
  return geteuid() != 0 || giveFolder(folder);
}

std::error_code lastError() { return {errno, std::generic_category()}; }

}  // namespace

bool giveToOwnerOfFolder(int descriptor, const std::string& path) {
  if (geteuid() != 0) {
    return true;
  }
  struct stat parent = {};
  return stat(parentOf(path).c_str(), &parent) == 0 &&
         fchown(descriptor, parent.st_uid, parent.st_gid) == 0;
}

std::string endOfLinks(const std::string& path) {
  std::filesystem::path end = path;
  for (int link = 0; link < kMostLinks; ++link) {
    std::error_code error;
    const std::filesystem::path next = std::filesystem::read_symlink(end, error);
    if (error) {
      break;
    }
    end = end.parent_path() / next;
  }
  return end.string();
}

bool createOwnedFolders(const std::string& folder) { return createFolders(folder, S_IRWXU); }

std::error_code createNewFolders(const std::string& folder) {
  return createFolders(folder, kUsualFolderMode) ? std::error_code() : lastError();
}

std::error_code createNewFile(const std::string& path, NewFileAccess access) {
  const std::string end = endOfLinks(path);
  const mode_t mode = access == NewFileAccess::kOwnerOnly ? kFileMode : kUsualFileMode;
  const FileDescriptor file(open(end.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!file.isOpen()) {
    return lastError();
  }
  if (!giveToOwnerOfFolder(file.get(), end)) {
    const std::error_code error = lastError();
    unlink(end.c_str());
    return error;
  }
  return {};
}

bool writeNewFile(const std::string& path, std::span<const std::byte> bytes) {
  unlink(path.c_str());
  const FileDescriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
  return file.isOpen() && fchmod(file.get(), kFileMode) == 0 &&
         giveToOwnerOfFolder(file.get(), path) && writeAll(file.get(), bytes) &&
         fsync(file.get()) == 0;
}

bool replaceFile(const std::string& path, std::span<const std::byte> bytes) {
  const std::string next = path + kNewFileEnding;
  // Opened first: nothing can fail once the new file is in place.
  const FileDescriptor folder(open(parentOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) {
    return false;
  }
  if (!writeNewFile(next, bytes) || std::rename(next.c_str(), path.c_str()) != 0) {
    const int error = errno;
    unlink(next.c_str());
    errno = error;
    return false;
  }
  fsync(folder.get());
  return true;
}

}  // namespace kelvora::platform
