#pragma once

#include <utility>

#include <IOKit/IOKitLib.h>

namespace kelvora::platform {

/// Owns one object of the kernel (an iterator, a service, a registry entry), or none, and releases
/// it at the end of its life. One thread at a time.
class IOOwned {
 public:
  IOOwned() = default;
  /// Takes over what a call of IOKit returned, which may be 0.
  explicit IOOwned(io_object_t object) : object_(object) {}
  IOOwned(IOOwned&& other) noexcept : object_(std::exchange(other.object_, IO_OBJECT_NULL)) {}
  IOOwned& operator=(IOOwned&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  IOOwned(const IOOwned&) = delete;
  IOOwned& operator=(const IOOwned&) = delete;
  ~IOOwned() {
    if (object_ != IO_OBJECT_NULL) {
      IOObjectRelease(object_);
    }
  }

  /// The object, which stays this one's.
  io_object_t get() const { return object_; }
  explicit operator bool() const { return object_ != IO_OBJECT_NULL; }
  /// Gives the object away, to a caller that releases it.
  io_object_t release() { return std::exchange(object_, IO_OBJECT_NULL); }
  /// Where a call writes an object that the caller then owns. Only while this owns none.
  io_object_t* out() { return &object_; }

 private:
  io_object_t object_ = IO_OBJECT_NULL;
};

}  // namespace kelvora::platform
