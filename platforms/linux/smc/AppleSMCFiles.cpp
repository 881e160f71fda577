#include "platforms/linux/smc/AppleSMCFiles.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace kelvora::platform {

namespace {

constexpr int kLockAttempts = 1000;
constexpr std::chrono::milliseconds kLockPause(1);

KernelStatus statusOf(int error) {
  switch (error) {
    case EACCES:
    case EPERM:
    case EROFS:
      return kKernelNotPermitted;
    case EINVAL:
      return kKernelBadArgument;
    case EIO:
      return kKernelIOError;
    case ENODEV:
    case ENOENT:
      return kKernelNoDevice;
    default:
      return kKernelError;
  }
}

}  // namespace

bool AppleSMCFiles::exist() const { return access(path("key_count").c_str(), F_OK) == 0; }

bool AppleSMCFiles::mayChooseKeys() const {
  return access(path("key_at_index").c_str(), W_OK) == 0;
}

// The kernel makes a file's content when it is read from its beginning; no file is larger than the
// buffer.
std::optional<std::string> AppleSMCFiles::read(const std::string& name) {
  std::array<char, 4096> content;
  ssize_t count = -1;
  do {
    count = pread(opened(name).get(), content.data(), content.size(), 0);
  } while (count < 0 && errno == EINTR);
  if (count < 0) {
    open_.erase(name);  // a driver that was loaded again has other files of the same names
    return std::nullopt;
  }
  return std::string(content.data(), static_cast<std::size_t>(count));
}

KernelStatus AppleSMCFiles::openForWriting(const std::string& name) {
  FileDescriptor& file = writable_[name];
  if (!file.isOpen()) {
    file = FileDescriptor(open(path(name).c_str(), O_WRONLY | O_CLOEXEC));
  }
  return file.isOpen() ? kKernelSuccess : statusOf(errno);
}

// The driver takes a number in one write.
KernelStatus AppleSMCFiles::write(const std::string& name, const std::string& content) {
  if (const KernelStatus status = openForWriting(name); status != kKernelSuccess) {
    return status;
  }
  ssize_t count = -1;
  do {
    count = pwrite(writable_[name].get(), content.data(), content.size(), 0);
  } while (count < 0 && errno == EINTR);
  if (count >= 0) {
    return count == static_cast<ssize_t>(content.size()) ? kKernelSuccess : kKernelIOError;
  }
  const KernelStatus status = statusOf(errno);
  if (status == kKernelNoDevice) {
    writable_.erase(name);  // a driver that was loaded again has other files of the same names
  }
  return status;
}

bool AppleSMCFiles::chooseKey(unsigned chosen) {
  return write("key_at_index", std::to_string(chosen) + "\n") == kKernelSuccess;
}

void AppleSMCFiles::lock() {
  for (int attempt = 0; attempt < kLockAttempts; ++attempt) {
    if (flock(index().get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) {
      return;
    }
    std::this_thread::sleep_for(kLockPause);
  }
}

void AppleSMCFiles::unlock() { flock(index().get(), LOCK_UN); }

const FileDescriptor& AppleSMCFiles::opened(const std::string& name) {
  FileDescriptor& file = open_[name];
  if (!file.isOpen()) {
    file = FileDescriptor(open(path(name).c_str(), O_RDONLY | O_CLOEXEC));
  }
  return file;
}

const FileDescriptor& AppleSMCFiles::index() {
  openForWriting("key_at_index");
  return writable_["key_at_index"];
}

}  // namespace kelvora::platform
