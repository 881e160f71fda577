#pragma once

// Only the compiler for macOS knows since when a function exists.
#define API_AVAILABLE(...)
#define API_DEPRECATED(...)
