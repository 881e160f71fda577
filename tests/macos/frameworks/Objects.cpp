#include "tests/macos/frameworks/Objects.h"

#include <algorithm>
#include <vector>

namespace kelvora::testing::mac {

Objects& Objects::shared() {
  static Objects objects;
  return objects;
}

Object* Objects::get(const std::string& function, CFTypeRef reference) {
  if (reference == nullptr) {
    Ledger::misuse(function, "null is no object");
    return nullptr;
  }
  const std::lock_guard lock(mutex_);
  const auto found = objects_.find(reference);
  if (found == objects_.end()) {
    Ledger::misuse(function, "what was passed is no object");
    return nullptr;
  }
  if (found->second->isDead_) {
    Ledger::misuse(function, "a " + found->second->kind() + " is used after its last release");
    return nullptr;
  }
  return found->second.get();
}

void Objects::own(Object& object) {
  const std::lock_guard lock(mutex_);
  if (object.owners_++ == 0 && !object.isImmortal_) {
    Ledger::shared().opened(object.kind());
  }
}

void Objects::retain(const std::string& function, CFTypeRef reference) {
  if (Object* object = get(function, reference)) {
    own(*object);
  }
}

void Objects::release(const std::string& function, CFTypeRef reference) {
  const std::lock_guard lock(mutex_);
  Object* object = get(function, reference);
  if (object == nullptr || object->isImmortal_) {
    return;
  }
  if (object->owners_ == 0) {
    Ledger::misuse(function, "a " + object->kind() + " is released that the program does not own");
    return;
  }
  if (--object->owners_ == 0) {
    Ledger::shared().closed(object->kind());
    disposeIfUnused(*object);
  }
}

void Objects::hold(Object& object) {
  const std::lock_guard lock(mutex_);
  ++object.holders_;
}

void Objects::drop(Object& object) {
  const std::lock_guard lock(mutex_);
  --object.holders_;
  disposeIfUnused(object);
}

void Objects::handOver(Object& object) {
  own(object);
  drop(object);
}

void Objects::disposeIfUnused(Object& object) {
  if (object.owners_ == 0 && object.holders_ == 0 && !object.isImmortal_) {
    object.isDead_ = true;
    object.dispose();
  }
}

CFTypeID typeID(const std::string& kind) {
  static std::mutex mutex;
  static std::vector<std::string> kinds;
  const std::lock_guard lock(mutex);
  auto found = std::find(kinds.begin(), kinds.end(), kind);
  if (found == kinds.end()) {
    found = kinds.insert(kinds.end(), kind);
  }
  return static_cast<CFTypeID>(found - kinds.begin()) + 1;
}

std::string described(CFTypeRef reference) {
  if (reference == nullptr) {
    return "null";
  }
  const Object* object = Objects::shared().get("an argument", reference);
  return object == nullptr ? "no object" : object->described();
}

}  // namespace kelvora::testing::mac

using kelvora::testing::mac::Object;
using kelvora::testing::mac::Objects;

const CFAllocatorRef kCFAllocatorDefault = nullptr;

CFTypeRef CFRetain(CFTypeRef object) {
  Objects::shared().retain("CFRetain", object);
  return object;
}

void CFRelease(CFTypeRef object) { Objects::shared().release("CFRelease", object); }

CFTypeID CFGetTypeID(CFTypeRef object) {
  const Object* found = Objects::shared().get("CFGetTypeID", object);
  return found == nullptr ? 0 : kelvora::testing::mac::typeID(found->kind());
}
