#include "platforms/posix/FileLock.h"

#include <cerrno>
#include <filesystem>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "platforms/posix/NewFiles.h"

namespace kelvora::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds kPause{500};

std::string folderOf(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

// flock() has no time limit of its own.
bool lockUntil(int descriptor, Clock::time_point deadline) {
  while (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      return false;
    }
    if (Clock::now() >= deadline) {
      errno = ETIMEDOUT;
      return false;
    }
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

FileDescriptor openLock(const std::string& path, int flags) {
  return FileDescriptor(
      open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, S_IRUSR | S_IWUSR));
}

// Who waits for the lock holds the folder's lock. So a program that releases the lock and wants it
// again at once comes after the one that waits.
bool takeLock(const FileDescriptor& lock, const std::string& path, Clock::time_point deadline) {
  const FileDescriptor queue(open(folderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return queue.isOpen() && lockUntil(queue.get(), deadline) && lockUntil(lock.get(), deadline);
}

void closeKeepingError(FileDescriptor& lock) {
  const int error = errno;
  lock.close();
  errno = error;
}

}  // namespace

FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds wait) {
  const Clock::time_point deadline = Clock::now() + wait;
  FileDescriptor lock = openLock(path, O_CREAT);
  if (lock.isOpen() && !(giveToOwnerOfFolder(lock.get(), path) && takeLock(lock, path, deadline))) {
    closeKeepingError(lock);
  }
  return lock;
}

FileDescriptor lockExistingFile(const std::string& path, std::chrono::milliseconds wait) {
  const Clock::time_point deadline = Clock::now() + wait;
  FileDescriptor lock = openLock(path, 0);
  if (lock.isOpen() && !takeLock(lock, path, deadline)) {
    closeKeepingError(lock);
  }
  return lock;
}

}  // namespace kelvora::platform
