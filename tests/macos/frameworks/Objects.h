#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <utility>

#include <CoreFoundation/CFBase.h>

#include "tests/macos/frameworks/Ledger.h"

namespace kelvora::testing::mac {

/// An object that the program owns by CFRetain and CFRelease. Doubles derive one class for each
/// kind, e.g. "CFString"; the program sees its address.
class Object {
 public:
  explicit Object(std::string kind) : kind_(std::move(kind)) {}
  virtual ~Object() = default;
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  const std::string& kind() const { return kind_; }
  /// Whether the other, which is of the same kind, has the same content.
  virtual bool equals(const Object& other) const { return this == &other; }
  /// The object as recorded calls show it.
  virtual std::string described() const { return kind_; }
  /// Drops what the object holds. Called once, when the object has no owner or holder any more.
  virtual void dispose() {}

 private:
  friend class Objects;
  const std::string kind_;
  int owners_ = 0;   // the program's: an object without one must not be released by it
  int holders_ = 0;  // containers and the doubles themselves
  bool isImmortal_ = false;
  bool isDead_ = false;
};

/// All objects. A dead one keeps its address, so that a later use of it is found. Any thread.
class Objects {
 public:
  static Objects& shared();

  /// A new object that the program owns and must release.
  template <typename T, typename... Arguments>
  T* create(Arguments&&... arguments) {
    T* object = add<T>(std::forward<Arguments>(arguments)...);
    own(*object);
    return object;
  }
  /// A new object that a double holds, to return it from a Get function.
  template <typename T, typename... Arguments>
  T* createHeld(Arguments&&... arguments) {
    T* object = add<T>(std::forward<Arguments>(arguments)...);
    hold(*object);
    return object;
  }
  /// A new object that may be retained and released at will, e.g. a constant text.
  template <typename T, typename... Arguments>
  T* createImmortal(Arguments&&... arguments) {
    T* object = add<T>(std::forward<Arguments>(arguments)...);
    object->isImmortal_ = true;
    return object;
  }

  /// The living object that the program passed to `function`, or null with a failed test.
  Object* get(const std::string& function, CFTypeRef reference);
  /// The same for an object of a kind.
  template <typename T>
  T* get(const std::string& function, CFTypeRef reference) {
    Object* object = get(function, reference);
    T* result = dynamic_cast<T*>(object);
    if (object != nullptr && result == nullptr) {
      Ledger::misuse(function, "a " + object->kind() + " is of the wrong type");
    }
    return result;
  }

  /// One more owner or one less on the program's side.
  void retain(const std::string& function, CFTypeRef reference);
  void release(const std::string& function, CFTypeRef reference);
  /// One more holder or one less on the side of the doubles.
  void hold(Object& object);
  void drop(Object& object);
  /// Makes the program an owner of an object that a double holds, and ends the holding.
  void handOver(Object& object);

 private:
  template <typename T, typename... Arguments>
  T* add(Arguments&&... arguments) {
    auto made = std::make_unique<T>(std::forward<Arguments>(arguments)...);
    T* object = made.get();
    const std::lock_guard lock(mutex_);
    objects_.emplace(static_cast<Object*>(object), std::move(made));
    return object;
  }
  void own(Object& object);
  void disposeIfUnused(Object& object);

  std::recursive_mutex mutex_;
  std::unordered_map<const void*, std::unique_ptr<Object>> objects_;
};

/// How the program sees an object.
template <typename Reference>
Reference referenceTo(Object* object) {
  return reinterpret_cast<Reference>(object);
}
/// The number of a kind of objects, e.g. "CFString".
CFTypeID typeID(const std::string& kind);
/// An argument as recorded calls show it: the object, or "null".
std::string described(CFTypeRef reference);

}  // namespace kelvora::testing::mac
