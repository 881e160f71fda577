#include "tests/support/CountedAllocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constinit std::atomic<std::size_t> count{0};

void* allocate(std::size_t size) {
  ++count;
  return std::malloc(size == 0 ? 1 : size);
}

}  // namespace

// All forms that end in the plain operator delete; those of arrays come here by themselves.
void* operator new(std::size_t size) {
  if (void* const memory = allocate(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace kelvora::testing {

std::size_t allocations() { return count; }

}  // namespace kelvora::testing
