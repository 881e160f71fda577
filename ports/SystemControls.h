#pragma once

#include <cstddef>
#include <span>

namespace kelvora::platform {

/// The kernel's system controls in the form of sysctl(3). With a null `value` a call only sets
/// `size` to the size of the value; otherwise `size` is the size of the buffer on entry and the
/// number of bytes written on return. Nothing is logged. Any thread.
class SystemControls {
 public:
  virtual ~SystemControls() = default;
  /// sysctlbyname for reading, e.g. "hw.model" gives "MacBookPro15,1" with its NUL. Returns 0, or
  /// the system's error number: ENOENT for an unknown name, ENOMEM if the buffer is too small.
  virtual int byName(const char* name, void* value, std::size_t* size) = 0;
  /// sysctl for reading by number, e.g. {6, 3} for the number of processors. Otherwise as `byName`.
  virtual int byNumber(std::span<const int> name, void* value, std::size_t* size) = 0;
};

}  // namespace kelvora::platform
