#pragma once

#include <utility>

#include <CoreFoundation/CoreFoundation.h>

namespace kelvora::platform {

/// Owns one object of Core Foundation, or none, and releases it at the end of its life. T is a
/// reference type, e.g. CFStringRef. One thread at a time.
template <typename T>
class CFOwned {
 public:
  CFOwned() = default;
  /// Takes over what a function with Create or Copy in its name returned, which may be null.
  explicit CFOwned(T created) : object_(created) {}
  /// Becomes one more owner of what a function with Get in its name returned, which may be null.
  static CFOwned retained(T got) {
    if (got != nullptr) {
      CFRetain(got);
    }
    return CFOwned(got);
  }

  CFOwned(CFOwned&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  CFOwned& operator=(CFOwned&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  CFOwned(const CFOwned&) = delete;
  CFOwned& operator=(const CFOwned&) = delete;
  ~CFOwned() {
    if (object_ != nullptr) {
      CFRelease(object_);
    }
  }

  /// The object, which stays this one's.
  T get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  /// Gives the object away, to a function that takes it over.
  T release() { return std::exchange(object_, nullptr); }
  /// Where a function writes an object that the caller then owns. Only while this owns none.
  T* out() { return &object_; }

 private:
  T object_ = nullptr;
};

}  // namespace kelvora::platform
