#pragma once

#include <mach/boolean.h>
#include <os/availability.h>
#include <cstdint>

using CGFloat = double;
struct CGPoint {
  CGFloat x;
  CGFloat y;
};
struct CGSize {
  CGFloat width;
  CGFloat height;
};
struct CGRect {
  CGPoint origin;
  CGSize size;
};
using CGDirectDisplayID = uint32_t;
enum CGError : int32_t { kCGErrorSuccess = 0 };

/// The displays that are drawn to, the main one first: at most `most` of them, and how many.
extern "C" CGError CGGetActiveDisplayList(uint32_t most, CGDirectDisplayID* displays,
                                          uint32_t* count) API_AVAILABLE(macos(10.0));
extern "C" boolean_t CGDisplayIsBuiltin(CGDirectDisplayID display) API_AVAILABLE(macos(10.2));
/// Place and size in points, in the space of all displays.
extern "C" CGRect CGDisplayBounds(CGDirectDisplayID display) API_AVAILABLE(macos(10.0));
