#pragma once

#include <cstddef>

namespace kelvora::testing {

/// How often `operator new` was called in this process. A test executable that links
/// CountedAllocations.cpp counts; any thread.
std::size_t allocations();

}  // namespace kelvora::testing
