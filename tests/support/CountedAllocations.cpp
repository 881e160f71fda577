#include "tests/support/CountedAllocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constinit std::atomic<std::size_t> count{0};

void* allocate(std::size_t size) {
  ++count;
  if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

// The array forms and those that do not throw come here too.
void* operator new(std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace kelvora::testing {

std::size_t allocations() { return count; }

}  // namespace kelvora::testing
