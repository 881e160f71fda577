#pragma once

#include <cstdint>

namespace kelvora::platform {

/// A kernel status as IOKit returns it; 0 is success.
using KernelStatus = std::uint32_t;

// IOKit's own names are macros, so these have names that it lacks.
inline constexpr KernelStatus kKernelSuccess = 0;
/// kIOReturnError, IOKit's general error.
inline constexpr KernelStatus kKernelError = 0xe00002bc;
/// kIOReturnNoDevice: there is no such device.
inline constexpr KernelStatus kKernelNoDevice = 0xe00002c0;
/// kIOReturnBadArgument: a call's arguments are malformed.
inline constexpr KernelStatus kKernelBadArgument = 0xe00002c2;
/// kIOReturnIOError: the device failed.
inline constexpr KernelStatus kKernelIOError = 0xe00002ca;
/// kIOReturnNotOpen: the handle is not an open connection.
inline constexpr KernelStatus kKernelNotOpen = 0xe00002cd;
/// kIOReturnNotPermitted: this process may not do that.
inline constexpr KernelStatus kKernelNotPermitted = 0xe00002e2;

/// A handle of the kernel: an iterator, a service or a connection. 0 is no object.
using IOObject = std::uint32_t;

}  // namespace kelvora::platform
