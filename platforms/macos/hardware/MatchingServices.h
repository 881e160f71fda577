#pragma once

#include "platforms/macos/IOOwned.h"
#include "ports/IOKitTypes.h"

namespace kelvora::platform {

/// Looks for the services of a class, e.g. "AppleSMC". On success `*iterator` is the caller's.
KernelStatus findMatchingServices(const char* serviceClass, io_iterator_t* iterator);

}  // namespace kelvora::platform
