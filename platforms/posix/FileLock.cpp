#include "platforms/posix/FileLock.h"

#include <cerrno>
#include <optional>
#include <thread>

#include <fcntl.h>
#include <sys/stat.h>

#include "platforms/posix/NewFiles.h"

namespace kelvora::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds kPause{500};

// The queue for a lock is in its file: each program locks one byte behind the bytes of all that
// came before it, and has the lock when no byte before its own is locked. A place in the queue ends
// with the open file, so also with the program. The bytes need not exist, nothing is written.
constexpr off_t kFirstPlace = 1;

struct flock bytesAt(off_t start, off_t length, short type) {
  struct flock bytes = {};
  bytes.l_type = type;
  bytes.l_whence = SEEK_SET;
  bytes.l_start = start;
  bytes.l_len = length;
  return bytes;
}

// Bytes from `start` that are locked, but not by this open file. `length` 0 looks at all that
// follow.
std::optional<struct flock> lockOfAnother(const FileDescriptor& lock, off_t start, off_t length) {
  struct flock bytes = bytesAt(start, length, F_WRLCK);
  fcntl(lock.get(), F_OFD_GETLK, &bytes);  // a failure leaves all bytes locked
  return bytes.l_type == F_UNLCK ? std::nullopt : std::optional(bytes);
}

off_t endOfQueue(const FileDescriptor& lock) {
  off_t end = kFirstPlace;
  while (const auto other = lockOfAnother(lock, end, 0)) {
    end = other->l_start + other->l_len;
    if (other->l_len == 0) {  // a program that knows no queue has locked all bytes
      break;
    }
  }
  return end;
}

bool setLock(const FileDescriptor& lock, off_t place, short type) {
  struct flock byte = bytesAt(place, 1, type);
  return fcntl(lock.get(), F_OFD_SETLK, &byte) == 0;
}

// The place taken, none with EAGAIN in errno when another program was faster. If that one is behind
// the place, it may already have the lock: those before both may have ended in between.
std::optional<off_t> joinQueue(const FileDescriptor& lock) {
  const off_t place = endOfQueue(lock);
  if (!setLock(lock, place, F_WRLCK)) {
    return std::nullopt;
  }
  if (lockOfAnother(lock, place + 1, 0)) {
    setLock(lock, place, F_UNLCK);
    errno = EAGAIN;
    return std::nullopt;
  }
  return place;
}

// The system can wait for a lock, but not on every system with a time limit.
bool takeLock(const FileDescriptor& lock, std::chrono::milliseconds wait) {
  const Clock::time_point deadline = Clock::now() + wait;
  std::optional<off_t> place;
  for (;;) {
    if (!place && !(place = joinQueue(lock)) && errno != EAGAIN && errno != EACCES) {
      return false;
    }
    if (place && !lockOfAnother(lock, 0, *place)) {
      return true;
    }
    if (Clock::now() >= deadline) {
      errno = ETIMEDOUT;
      return false;
    }
    std::this_thread::sleep_for(kPause);
  }
}

FileDescriptor openLock(const std::string& path, int flags) {
  return FileDescriptor(
      open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, S_IRUSR | S_IWUSR));
}

void closeKeepingError(FileDescriptor& lock) {
  const int error = errno;
  lock.close();
  errno = error;
}

}  // namespace

FileDescriptor lockFile(const std::string& path, std::chrono::milliseconds wait) {
  FileDescriptor lock = openLock(path, O_CREAT);
  if (lock.isOpen() && !(giveToOwnerOfFolder(lock.get(), path) && takeLock(lock, wait))) {
    closeKeepingError(lock);
  }
  return lock;
}

FileDescriptor lockExistingFile(const std::string& path, std::chrono::milliseconds wait) {
  FileDescriptor lock = openLock(path, 0);
  if (lock.isOpen() && !takeLock(lock, wait)) {
    closeKeepingError(lock);
  }
  return lock;
}

}  // namespace kelvora::platform
