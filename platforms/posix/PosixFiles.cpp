#include "platforms/posix/PosixFiles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <system_error>
#include <utility>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include "platforms/posix/FileDescriptor.h"
#include "platforms/posix/FileLock.h"
#include "platforms/posix/NewFiles.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kAccountBufferBytes = 16384;

// Long enough for a program that is just ending.
class HeldFileLock : public HeldLock {
 public:
  explicit HeldFileLock(FileDescriptor lock) : lock_(std::move(lock)) {}
  int descriptor() const override { return lock_.get(); }

 private:
  FileDescriptor lock_;
};

std::string userName(uid_t uid) {
  std::array<char, kAccountBufferBytes> buffer;
  passwd record{};
  passwd* found = nullptr;
  getpwuid_r(uid, &record, buffer.data(), buffer.size(), &found);
  return found == nullptr ? "" : found->pw_name;
}

std::string groupName(gid_t gid) {
  std::array<char, kAccountBufferBytes> buffer;
  group record{};
  group* found = nullptr;
  getgrgid_r(gid, &record, buffer.data(), buffer.size(), &found);
  return found == nullptr ? "" : found->gr_name;
}

}  // namespace

bool PosixFiles::exists(const std::string& path) {
  struct stat information {};
  return stat(path.c_str(), &information) == 0;
}

std::optional<FileAttributes> PosixFiles::attributes(const std::string& path) {
  // A link's own attributes: who owns the link decides where it leads.
  struct stat information {};
  if (lstat(path.c_str(), &information) != 0) {
    return std::nullopt;
  }
  return FileAttributes{userName(information.st_uid), groupName(information.st_gid),
                        static_cast<std::uint32_t>(information.st_mode & 07777),
                        S_ISREG(information.st_mode), information.st_nlink};
}

std::optional<std::vector<std::string>> PosixFiles::list(const std::string& folder) {
  std::error_code error;
  std::vector<std::string> names;
  std::filesystem::directory_iterator entry(folder, error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  if (error) {
    return std::nullopt;
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool PosixFiles::remove(const std::string& path) {
  std::error_code error;
  const auto count = std::filesystem::remove_all(path, error);
  return !error && count > 0;
}

bool PosixFiles::createFolder(const std::string& path) {
  std::error_code error;
  return createOwnedFolders(path) && std::filesystem::is_directory(path, error);
}

bool PosixFiles::replace(const std::string& path, std::span<const std::byte> bytes,
                         std::error_code& error) {
  if (!replaceFile(path, bytes)) {
    error.assign(errno, std::generic_category());
    return false;
  }
  return true;
}

std::unique_ptr<HeldLock> PosixFiles::lock(const std::string& path, std::chrono::milliseconds wait,
                                           std::error_code& error) {
  FileDescriptor lock = lockFile(path, wait);
  if (!lock.isOpen()) {
    error.assign(errno, std::generic_category());
    return nullptr;
  }
  return std::make_unique<HeldFileLock>(std::move(lock));
}

}  // namespace kelvora::platform
