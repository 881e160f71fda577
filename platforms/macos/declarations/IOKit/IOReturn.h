#pragma once

#include <mach/mach.h>

/// The status of a call; 0 is success.
using IOReturn = kern_return_t;

// Macros here as in the SDK, so that no name of the project's own is one of them.
#define iokit_common_err(code) (static_cast<IOReturn>(0xe0000000U | (code)))

/// Any other failure.
#define kIOReturnError iokit_common_err(0x2bc)
/// There is no such device.
#define kIOReturnNoDevice iokit_common_err(0x2c0)
/// The arguments are malformed.
#define kIOReturnBadArgument iokit_common_err(0x2c2)
/// The device failed.
#define kIOReturnIOError iokit_common_err(0x2ca)
/// The handle is not an open connection.
#define kIOReturnNotOpen iokit_common_err(0x2cd)
/// This process may not do that.
#define kIOReturnNotPermitted iokit_common_err(0x2e2)
