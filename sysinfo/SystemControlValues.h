#pragma once

#include <cstdint>
#include <string>

namespace kelvora {

namespace platform {
class SystemControls;
}

/// The text of a named system control, e.g. "MacBookPro15,1" for "hw.model". Empty when the control
/// is absent, has no bytes or is not UTF-8.
std::string sysctlNSStringForKey(const char* key);
std::string sysctlNSStringForKey(const char* key, platform::SystemControls& controls);

/// The system control with the kernel's name, "Darwin" on macOS.
inline constexpr const char* kKernelName = "kern.ostype";

/// Whether the computer runs macOS. A recording without the kernel's name is one of macOS.
bool isMacOS(platform::SystemControls& controls);

/// The number of a named system control of 4 or 8 bytes, e.g. 8 for "hw.ncpu". 0 when the control
/// is absent or of another size.
std::int64_t sysctlNumberForKey(const char* key, platform::SystemControls& controls);

}  // namespace kelvora
