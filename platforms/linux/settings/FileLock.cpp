#include "platforms/linux/settings/FileLock.h"

#include <cerrno>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "platforms/posix/NewFiles.h"

namespace kelvora::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds kPause{500};

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

}  // namespace

FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds wait) {
  FileDescriptor lock(
      open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (!lock.isOpen()) {
    return lock;
  }
  if (giveToOwnerOfFolder(lock.get(), path) && lockUntil(lock.get(), Clock::now() + wait)) {
    return lock;
  }
  const int error = errno;
  lock.close();
  errno = error;
  return lock;
}

}  // namespace kelvora::platform
