#include "tests/macos/frameworks/Preferences.h"

#include <utility>

#include <CoreFoundation/CoreFoundation.h>

#include "platforms/macos/CFValues.h"
#include "tests/macos/frameworks/Values.h"

namespace kelvora::testing::mac {

namespace {

void change(PropertyListValue::Dictionary& values, const std::string& key,
            std::optional<PropertyListValue> value) {
  if (value) {
    values.insert_or_assign(key, std::move(*value));
  } else {
    values.erase(key);
  }
}

std::string text(const std::string& function, CFStringRef reference) {
  return textArgument(function, reference).value_or("");
}

CFTypeRef copied(const std::optional<PropertyListValue>& value) {
  return value ? newObject(*value) : nullptr;
}

void requireUser(const std::string& function, CFStringRef user, CFStringRef host) {
  if (user != kCFPreferencesCurrentUser || host != kCFPreferencesAnyHost) {
    Ledger::misuse(function, "the domain is not the user's");
  }
}

}  // namespace

Preferences& Preferences::shared() {
  static Preferences preferences;
  return preferences;
}

void Preferences::reset() {
  onSynchronize = nullptr;
  const std::lock_guard lock(mutex_);
  disk_.clear();
  read_.clear();
  set_.clear();
}

void Preferences::setByOther(const std::string& application, const std::string& key,
                             std::optional<PropertyListValue> value) {
  const std::lock_guard lock(mutex_);
  change(disk_[application], key, std::move(value));
}

PropertyListValue::Dictionary Preferences::onDisk(const std::string& application) {
  const std::lock_guard lock(mutex_);
  return disk_[application];
}

std::optional<PropertyListValue> Preferences::value(const std::string& application,
                                                    const std::string& key) {
  const Dictionary all = values(application);
  const auto found = all.find(key);
  return found == all.end() ? std::nullopt : std::optional(found->second);
}

PropertyListValue::Dictionary Preferences::values(const std::string& application) {
  const std::lock_guard lock(mutex_);
  Dictionary all = read_[application];
  for (const auto& [key, value] : set_[application]) {
    change(all, key, value);
  }
  return all;
}

void Preferences::set(const std::string& application, const std::string& key,
                      std::optional<PropertyListValue> value) {
  const std::lock_guard lock(mutex_);
  set_[application].insert_or_assign(key, std::move(value));
}

void Preferences::synchronize(const std::string& application) {
  if (onSynchronize) {
    onSynchronize();
  }
  const std::lock_guard lock(mutex_);
  for (const auto& [key, value] : set_[application]) {
    change(disk_[application], key, value);
  }
  set_[application].clear();
  read_[application] = disk_[application];
}

}  // namespace kelvora::testing::mac

using namespace kelvora::testing::mac;  // NOLINT: the functions of the system are global

const CFStringRef kCFPreferencesAnyApplication = __CFStringMakeConstantString(kGlobalDomain);
const CFStringRef kCFPreferencesCurrentUser =
    __CFStringMakeConstantString("kCFPreferencesCurrentUser");
const CFStringRef kCFPreferencesAnyHost = __CFStringMakeConstantString("kCFPreferencesAnyHost");

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application) {
  const std::string name = text("CFPreferencesCopyAppValue", key);
  const std::string suite = text("CFPreferencesCopyAppValue", application);
  if (Ledger::shared().called("CFPreferencesCopyAppValue", name, suite)) {
    return nullptr;
  }
  const auto own = Preferences::shared().value(suite, name);
  return copied(own ? own : Preferences::shared().value(kGlobalDomain, name));
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application) {
  const std::string name = text("CFPreferencesSetAppValue", key);
  const std::string suite = text("CFPreferencesSetAppValue", application);
  Ledger::shared().called("CFPreferencesSetAppValue", name, described(value), suite);
  Preferences::shared().set(suite, name, kelvora::platform::valueOf(value));
}

Boolean CFPreferencesAppSynchronize(CFStringRef application) {
  const std::string suite = text("CFPreferencesAppSynchronize", application);
  if (Ledger::shared().called("CFPreferencesAppSynchronize", suite)) {
    return false;
  }
  Preferences::shared().synchronize(suite);
  return true;
}

CFDictionaryRef CFPreferencesCopyMultiple(CFArrayRef keys, CFStringRef application,
                                          CFStringRef user, CFStringRef host) {
  requireUser("CFPreferencesCopyMultiple", user, host);
  if (keys != nullptr) {
    Ledger::misuse("CFPreferencesCopyMultiple", "the double only knows all keys");
  }
  const std::string suite = text("CFPreferencesCopyMultiple", application);
  if (Ledger::shared().called("CFPreferencesCopyMultiple", suite)) {
    return nullptr;
  }
  return static_cast<CFDictionaryRef>(newObject(Preferences::shared().values(suite)));
}

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user,
                                         CFStringRef host) {
  requireUser("CFPreferencesCopyValue", user, host);
  const std::string name = text("CFPreferencesCopyValue", key);
  const std::string suite = text("CFPreferencesCopyValue", application);
  if (Ledger::shared().called("CFPreferencesCopyValue", name, suite)) {
    return nullptr;
  }
  return copied(Preferences::shared().value(suite, name));
}

Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host) {
  requireUser("CFPreferencesSynchronize", user, host);
  const std::string suite = text("CFPreferencesSynchronize", application);
  if (Ledger::shared().called("CFPreferencesSynchronize", suite)) {
    return false;
  }
  Preferences::shared().synchronize(suite);
  return true;
}
