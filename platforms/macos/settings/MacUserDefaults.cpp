#include "platforms/macos/settings/MacUserDefaults.h"

#include <cerrno>
#include <chrono>
#include <utility>

#include "base/Log.h"
#include "platforms/macos/CFValues.h"
#include "platforms/macos/cocoa/UserFolders.h"
#include "platforms/posix/FileLock.h"
#include "platforms/posix/NewFiles.h"

namespace kelvora::platform {

namespace {

constexpr std::chrono::milliseconds kLockWait{200};
constexpr std::chrono::milliseconds kWaitOfChange{5000};

}  // namespace

MacUserDefaultsSuite::MacUserDefaultsSuite(const std::string& name, std::string lockFolder)
    : name_(makeText(name)), lockFolder_(std::move(lockFolder)) {}

std::optional<PropertyListValue> MacUserDefaultsSuite::object(std::string_view key) {
  const std::lock_guard guard(mutex_);
  const auto keyText = makeText(key);
  if (!keyText || !name_) {
    return std::nullopt;
  }
  synchronize();  // where that fails, what was read last remains
  return valueOf(copyValue(keyText.get()).get());
}

PropertyListValue::Dictionary MacUserDefaultsSuite::objects() {
  const std::lock_guard guard(mutex_);
  if (!name_) {
    return {};
  }
  synchronize();
  const CFOwned<CFDictionaryRef> values(CFPreferencesCopyMultiple(
      nullptr, name_.get(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
  return dictionaryOf(values.get());
}

bool MacUserDefaultsSuite::setObject(std::string_view key, PropertyListValue value) {
  const std::lock_guard guard(mutex_);
  const auto keyText = makeText(key);
  const auto object = makeObject(value);
  if (!keyText || !object || !name_) {
    return reportFailure(key);
  }
  const FileDescriptor held = lock(kLockWait);
  synchronize();
  return write(keyText.get(), object.get()) || reportFailure(key);
}

bool MacUserDefaultsSuite::removeObject(std::string_view key) {
  const std::lock_guard guard(mutex_);
  const auto keyText = makeText(key);
  if (!keyText || !name_) {
    return reportFailure(key);
  }
  const FileDescriptor held = lock(kLockWait);
  synchronize();
  return write(keyText.get(), nullptr) || reportFailure(key);
}

std::optional<PropertyListValue> MacUserDefaultsSuite::changeObject(std::string_view key,
                                                                    const Change& change,
                                                                    SuiteWrite reason) {
  const std::lock_guard guard(mutex_);
  const auto keyText = makeText(key);
  if (!keyText || !name_) {
    reportFailure(key);
    return std::nullopt;
  }
  errno = 0;
  const FileDescriptor held = lock(reason == SuiteWrite::kChoice ? kWaitOfChange : kLockWait);
  const bool isWrittenNow = !held.isOpen() && errno == ETIMEDOUT;
  if (isWrittenNow || !synchronize()) {
    if (reason == SuiteWrite::kChoice) {
      reportFailure(key);
    }
    return std::nullopt;
  }
  auto present = valueOf(copyValue(keyText.get()).get());
  auto value = change(present);
  if (!value) {
    return present;
  }
  const auto object = makeObject(*value);
  if (!object || !write(keyText.get(), object.get())) {
    reportFailure(key);
    return std::nullopt;
  }
  return value;
}

// Writes what is set, and makes the next look see what other programs wrote.
bool MacUserDefaultsSuite::synchronize() { return CFPreferencesAppSynchronize(name_.get()) != 0; }

CFOwned<CFPropertyListRef> MacUserDefaultsSuite::copyValue(CFStringRef key) {
  return CFOwned<CFPropertyListRef>(CFPreferencesCopyAppValue(key, name_.get()));
}

bool MacUserDefaultsSuite::write(CFStringRef key, CFPropertyListRef value) {
  const CFOwned<CFPropertyListRef> previous(
      CFPreferencesCopyValue(key, name_.get(), kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
  CFPreferencesSetAppValue(key, value, name_.get());
  if (synchronize()) {
    hasReportedFailure_ = false;
    return true;
  }
  CFPreferencesSetAppValue(key, previous.get(), name_.get());
  return false;
}

bool MacUserDefaultsSuite::reportFailure(std::string_view key) {
  if (!hasReportedFailure_) {
    log("Settings: " + (name_ ? textOf(name_.get()) : "") + ": cannot write " + std::string(key));
    hasReportedFailure_ = true;
  }
  return false;
}

FileDescriptor MacUserDefaultsSuite::lock(std::chrono::milliseconds wait) {
  if (lockFolder_.empty() || !createOwnedFolders(lockFolder_)) {
    return {};
  }
  return lockFile(lockFolder_ + "/Settings.lock", wait);
}

std::unique_ptr<UserDefaultsSuite> MacUserDefaults::suite(const std::string& name) {
  return std::make_unique<MacUserDefaultsSuite>(name, cocoa::groupContainer(name));
}

std::optional<PropertyListValue> MacUserDefaults::globalObject(std::string_view key) {
  const auto keyText = makeText(key);
  if (!keyText) {
    return std::nullopt;
  }
  CFPreferencesSynchronize(kCFPreferencesAnyApplication, kCFPreferencesCurrentUser,
                           kCFPreferencesAnyHost);
  const CFOwned<CFPropertyListRef> value(
      CFPreferencesCopyValue(keyText.get(), kCFPreferencesAnyApplication, kCFPreferencesCurrentUser,
                             kCFPreferencesAnyHost));
  return valueOf(value.get());
}

}  // namespace kelvora::platform
