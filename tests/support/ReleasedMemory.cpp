#include "tests/support/ReleasedMemory.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include <malloc.h>
#include <openssl/crypto.h>

namespace {

constinit std::string_view secret;
constinit std::atomic<int> found{0};

void look(const void* memory, std::size_t size) {
  if (!secret.empty() && memmem(memory, size, secret.data(), secret.size()) != nullptr) {
    ++found;
  }
}

void release(void* memory) {
  if (memory != nullptr) {
    look(memory, malloc_usable_size(memory));
  }
  std::free(memory);
}

void* opensslAllocate(std::size_t size, const char*, int) { return std::malloc(size); }

void* opensslReallocate(void* memory, std::size_t size, const char*, int) {
  return std::realloc(memory, size);
}

void opensslRelease(void* memory, const char*, int) { release(memory); }

void* allocate(std::size_t size) { return std::malloc(size == 0 ? 1 : size); }

}  // namespace

// All forms that end in the plain operator delete; those of arrays come here by themselves.
void* operator new(std::size_t size) {
  if (void* const memory = allocate(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { release(memory); }

namespace kelvora::testing {

bool watchReleasedMemory(std::string_view what) {
  secret = what;
  return CRYPTO_set_mem_functions(opensslAllocate, opensslReallocate, opensslRelease) == 1;
}

int releasedSecrets() { return found; }

}  // namespace kelvora::testing
