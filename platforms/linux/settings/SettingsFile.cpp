#include "platforms/linux/settings/SettingsFile.h"

#include <cerrno>
#include <filesystem>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>

#include "base/Log.h"
#include "base/PropertyListFile.h"

namespace kelvora::platform {

namespace {

constexpr mode_t kFileMode = S_IRUSR | S_IWUSR;

std::string systemText(int error) { return std::generic_category().message(error); }

bool sameInstant(const timespec& a, const timespec& b) {
  return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Whether the file itself, and no passing lack of memory or descriptors, is why it cannot be
// opened.
bool isFaultOfFile(int error) {
  return error == EACCES || error == EPERM || error == ELOOP || error == ENXIO || error == EISDIR;
}

bool isMissing(int error) { return error == ENOENT || error == ENOTDIR; }

// The whole content; none when reading fails, with the reason in errno.
std::optional<std::vector<std::byte>> readAll(int descriptor, std::size_t expectedBytes) {
  std::vector<std::byte> bytes(expectedBytes + 1);
  std::size_t filled = 0;
  while (true) {
    const ssize_t count = read(descriptor, bytes.data() + filled, bytes.size() - filled);
    if (count < 0 && errno == EINTR) {
      continue;
    }
    if (count < 0) {
      return std::nullopt;
    }
    filled += static_cast<std::size_t>(count);
    if (count == 0) {
      bytes.resize(filled);
      return bytes;
    }
    if (filled == bytes.size()) {
      bytes.resize(bytes.size() * 2);
    }
  }
}

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

// Held until its end, or the end of the process.
FileDescriptor lockBeside(const std::string& path) {
  const std::string name = path + ".lock";
  FileDescriptor lock(open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode));
  while (lock.isOpen() && flock(lock.get(), LOCK_EX) != 0) {
    if (errno != EINTR) {
      lock.close();
    }
  }
  return lock;
}

bool bringFolderToDisk(const std::string& folder) {
  const FileDescriptor opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return opened.isOpen() && fsync(opened.get()) == 0;
}

bool createFolders(const std::filesystem::path& folder) {
  std::error_code error;
  if (folder.empty() || std::filesystem::is_directory(folder, error)) {
    return true;
  }
  return createFolders(folder.parent_path()) &&
         (mkdir(folder.c_str(), S_IRWXU) == 0 || errno == EEXIST);
}

PropertyListValue::Dictionary merged(PropertyListValue::Dictionary values,
                                     const SettingsChanges& changes) {
  for (const auto& [key, value] : changes) {
    if (value) {
      values.insert_or_assign(key, *value);
    } else {
      values.erase(key);
    }
  }
  return values;
}

}  // namespace

SettingsFile::SettingsFile(std::string path) : path_(std::move(path)) {}

bool SettingsFile::isCurrent(const struct stat& facts) const {
  return facts_ && facts_->st_dev == facts.st_dev && facts_->st_ino == facts.st_ino &&
         facts_->st_size == facts.st_size && sameInstant(facts_->st_mtim, facts.st_mtim) &&
         sameInstant(facts_->st_ctim, facts.st_ctim);
}

const PropertyListValue::Dictionary& SettingsFile::contents() {
  struct stat facts = {};
  if (stat(path_.c_str(), &facts) != 0 || !isCurrent(facts)) {
    reload();
  }
  return contents_;
}

void SettingsFile::forget(State state, const std::string& why) {
  if (state != State::kUnavailable) {
    contents_.clear();
  }
  state_ = state;
  if (!why.empty() && why != logged_) {
    log("Settings: " + path_ + ": " + why);
  }
  logged_ = why;
}

void SettingsFile::reload() {
  facts_.reset();
  // Not blocking: what stands there may be a pipe.
  open_ = FileDescriptor(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!open_.isOpen()) {
    const int error = errno;
    const State state = isMissing(error)       ? State::kMissing
                        : isFaultOfFile(error) ? State::kUnusable
                                               : State::kUnavailable;
    forget(state, state == State::kMissing ? "" : systemText(error));
    return;
  }
  struct stat facts = {};
  if (fstat(open_.get(), &facts) != 0) {
    forget(State::kUnavailable, systemText(errno));
    return;
  }
  if (!S_ISREG(facts.st_mode)) {
    facts_ = facts;
    forget(State::kUnusable, "not a file");
    return;
  }
  const auto bytes = readAll(open_.get(), static_cast<std::size_t>(facts.st_size));
  if (!bytes) {
    forget(State::kUnavailable, systemText(errno));
    return;
  }
  facts_ = facts;
  PropertyListReading reading = parsePropertyList(*bytes);
  const auto* values = reading.value ? reading.value->as<PropertyListValue::Dictionary>() : nullptr;
  if (values == nullptr) {
    forget(State::kUnusable, reading.value ? "not a dictionary" : reading.failure);
    return;
  }
  contents_ = *values;
  state_ = State::kUsable;
  logged_.clear();
}

bool SettingsFile::fail(const std::string& what) {
  const int error = errno;
  if (!std::exchange(failureLogged_, true)) {
    log("Settings: " + path_ + ": " + what + ": " + systemText(error));
  }
  return false;
}

bool SettingsFile::keepAside() {
  for (int number = 1; number < 1000; ++number) {
    const std::string aside = path_ + ".unusable-" + std::to_string(number);
    struct stat ignored = {};
    if (lstat(aside.c_str(), &ignored) != 0 && errno == ENOENT) {
      return rename(path_.c_str(), aside.c_str()) == 0;
    }
  }
  errno = EEXIST;
  return false;
}

bool SettingsFile::replace(const PropertyListValue::Dictionary& values) {
  const std::string next = path_ + ".new";
  unlink(next.c_str());
  FileDescriptor file(open(next.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kFileMode));
  const auto bytes = serializePropertyList(values, PropertyListFormat::kBinary);
  const bool written = file.isOpen() && fchmod(file.get(), kFileMode) == 0 &&
                       writeAll(file.get(), bytes) && fsync(file.get()) == 0;
  if (!written || rename(next.c_str(), path_.c_str()) != 0) {
    const int error = errno;
    unlink(next.c_str());
    errno = error;
    return false;
  }
  return bringFolderToDisk(std::filesystem::path(path_).parent_path());
}

bool SettingsFile::write(const SettingsChanges& changes) {
  if (!createFolders(std::filesystem::path(path_).parent_path())) {
    return fail("its folder cannot be created");
  }
  const FileDescriptor lock = lockBeside(path_);
  if (!lock.isOpen()) {
    return fail("it cannot be locked");
  }
  contents();
  if (state_ == State::kUnavailable) {
    return fail("it cannot be read before it is written");
  }
  if (state_ == State::kUnusable && !keepAside()) {
    return fail("it cannot be kept under another name");
  }
  const PropertyListValue::Dictionary values = merged(contents_, changes);
  if (!(state_ == State::kUsable && values == contents_) && !replace(values)) {
    return fail("it cannot be written");
  }
  failureLogged_ = false;
  return true;
}

}  // namespace kelvora::platform
