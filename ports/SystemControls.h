#pragma once

#include <cstddef>
#include <span>

namespace kelvora::platform {

/// The kernel's system controls in the form of sysctl(3): with a null `value` a call only tells the
/// size; otherwise `size` is the room on entry and the bytes written on return. Any thread.
class SystemControls {
 public:
  virtual ~SystemControls() = default;
  /// sysctlbyname for reading, e.g. "hw.model". Answers 0, or the system's error number (ENOENT for
  /// an unknown name, ENOMEM when there is too little room).
  virtual int byName(const char* name, void* value, std::size_t* size) = 0;
  /// sysctl for reading by number, e.g. {6, 3} for the number of processors. As `byName`.
  virtual int byNumber(std::span<const int> name, void* value, std::size_t* size) = 0;
};

}  // namespace kelvora::platform
