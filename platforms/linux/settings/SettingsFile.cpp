#include "platforms/linux/settings/SettingsFile.h"

#include <cerrno>
#include <filesystem>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>

#include "base/Log.h"
#include "base/PropertyListFile.h"
#include "platforms/posix/FileLock.h"
#include "platforms/posix/NewFiles.h"

namespace kelvora::platform {

namespace {

constexpr int kMostKeptAside = 9;
constexpr std::chrono::milliseconds kWaitOfDefault{200};

std::string systemText(int error) { return std::generic_category().message(error); }

std::string folderOf(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

}  // namespace

SettingsFile::SettingsFile(std::string path) : path_(std::move(path)) {}

// Every write changes the file's change time, which programs cannot set.
bool SettingsFile::isCurrent(const struct stat& facts) const {
  return facts_ && facts_->st_dev == facts.st_dev && facts_->st_ino == facts.st_ino &&
         facts_->st_ctim.tv_sec == facts.st_ctim.tv_sec &&
         facts_->st_ctim.tv_nsec == facts.st_ctim.tv_nsec;
}

const SettingsFile::Values& SettingsFile::contents() {
  struct stat facts = {};
  if (stat(path_.c_str(), &facts) != 0 || !isCurrent(facts)) {
    reload();
  }
  return contents_;
}

std::optional<PropertyListValue> SettingsFile::value(std::string_view key) {
  const Values& values = contents();
  const auto found = values.find(std::string(key));
  return found == values.end() ? std::nullopt : std::optional(found->second);
}

void SettingsFile::reload() {
  SettingsReading reading = readSettingsFile(path_);
  open_ = std::move(reading.file);
  facts_ = reading.facts;
  state_ = reading.state;
  if (state_ != SettingsState::kUnreadable) {
    contents_ = std::move(reading.values);
    bytes_ = std::move(reading.bytes);
  }
  if (!reading.fault.empty() && reading.fault != readFailure_) {
    log("Settings: " + path_ + ": " + reading.fault);
  }
  readFailure_ = std::move(reading.fault);
}

bool SettingsFile::fail(const std::string& why) {
  if (why != writeFailure_) {
    log("Settings: " + path_ + ": " + why);
    writeFailure_ = why;
  }
  return false;
}

// Kept aside copies beyond the last number replace the last one.
bool SettingsFile::keepAside() {
  std::string aside;
  for (int number = 1; number <= kMostKeptAside; ++number) {
    aside = target_ + ".unusable-" + std::to_string(number);
    struct stat ignored = {};
    if (lstat(aside.c_str(), &ignored) != 0 && errno == ENOENT) {
      break;
    }
  }
  return rename(target_.c_str(), aside.c_str()) == 0;
}

bool SettingsFile::replace(const std::vector<std::byte>& bytes) {
  const std::string next = target_ + kNewFileEnding;
  if (const std::string fault = faultOfSettings(bytes); !fault.empty()) {
    return fail("it would not be readable any more: " + fault);
  }
  // Opened first: nothing can fail once the new file is in place.
  const FileDescriptor folder(open(folderOf(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const bool replaced = folder.isOpen() && writeNewFile(next, bytes) &&
                        (state_ != SettingsState::kDamaged || keepAside()) &&
                        rename(next.c_str(), target_.c_str()) == 0;
  if (!replaced) {
    const int error = errno;
    unlink(next.c_str());
    return fail("it cannot be written: " + systemText(error));
  }
  fsync(folder.get());
  return true;
}

bool SettingsFile::store(std::string_view key, const std::optional<PropertyListValue>& value) {
  const std::string name(key);
  const auto found = contents_.find(name);
  const auto held = found == contents_.end() ? std::nullopt : std::optional(found->second);
  const bool isUnchanged = state_ != SettingsState::kDamaged && value == held;
  if (!isUnchanged && !replace(propertyListWith(bytes_, name, value))) {
    return false;
  }
  writeFailure_.clear();
  return true;
}

// The lock, not open on failure. While it is held, `contents_` is what the file has.
FileDescriptor SettingsFile::beginWriting(std::chrono::milliseconds wait) {
  target_ = endOfLinks(path_);
  if (!createOwnedFolders(folderOf(target_))) {
    fail("its folder cannot be created: " + systemText(errno));
    return {};
  }
  FileDescriptor lock = lockFile(target_ + kLockEnding, wait);
  if (!lock.isOpen()) {
    fail(errno == ETIMEDOUT ? "another program keeps it locked"
                            : "it cannot be locked: " + systemText(errno));
    return lock;
  }
  contents();
  if (state_ == SettingsState::kUnreadable) {
    fail("it cannot be read before it is written: " + readFailure_);
    lock.close();
  }
  return lock;
}

bool SettingsFile::write(std::string_view key, const std::optional<PropertyListValue>& value) {
  const FileDescriptor lock = beginWriting(kWaitOfWrite);
  return lock.isOpen() && store(key, value);
}

std::chrono::milliseconds SettingsFile::waitFor(SuiteWrite reason) const {
  if (reason == SuiteWrite::kChoice) {
    return kWaitOfWrite;
  }
  return writeFailure_.empty() ? kWaitOfDefault : std::chrono::milliseconds(0);
}

std::optional<PropertyListValue> SettingsFile::change(std::string_view key,
                                                      const UserDefaultsSuite::Change& change,
                                                      SuiteWrite reason) {
  const auto isLeftAlone = [&] {
    return reason == SuiteWrite::kDefault &&
           (state_ == SettingsState::kDamaged || state_ == SettingsState::kUnreadable);
  };
  contents();
  if (isLeftAlone()) {
    return std::nullopt;
  }
  const FileDescriptor lock = beginWriting(waitFor(reason));
  if (!lock.isOpen() || isLeftAlone()) {
    return std::nullopt;
  }
  const auto found = contents_.find(std::string(key));
  auto held = found == contents_.end() ? std::nullopt : std::optional(found->second);
  const auto value = change(held);
  if (!value) {
    return held;
  }
  return store(key, value) ? value : std::nullopt;
}

}  // namespace kelvora::platform
