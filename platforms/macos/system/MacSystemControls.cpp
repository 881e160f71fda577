#include "platforms/macos/system/MacSystemControls.h"

#include <cerrno>
#include <vector>

#include <sys/sysctl.h>

namespace kelvora::platform {

int MacSystemControls::byName(const char* name, void* value, std::size_t* size) {
  return sysctlbyname(name, value, size, nullptr, 0) == 0 ? 0 : errno;
}

int MacSystemControls::byNumber(std::span<const int> name, void* value, std::size_t* size) {
  std::vector<int> numbers(name.begin(), name.end());
  return sysctl(numbers.data(), static_cast<unsigned int>(numbers.size()), value, size, nullptr,
                0) == 0
             ? 0
             : errno;
}

}  // namespace kelvora::platform
