#include "sysinfo/SystemControlValues.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "base/UTF8Text.h"
#include "ports/Ports.h"
#include "ports/SystemControls.h"

namespace kelvora {

namespace {

// The bytes of a control as a text that holds them: first the size is asked for, then the value.
std::string bytesForKey(const char* key, platform::SystemControls& controls) {
  std::size_t size = 0;
  if (controls.byName(key, nullptr, &size) != 0 || size == 0) {
    return "";
  }
  std::string bytes(size, '\0');
  if (controls.byName(key, bytes.data(), &size) != 0 || size > bytes.size()) {
    return "";
  }
  bytes.resize(size);
  return bytes;
}

template <typename Number>
Number numberOfBytes(const std::string& bytes) {
  Number number = 0;
  std::memcpy(&number, bytes.data(), sizeof number);
  return number;
}

}  // namespace

std::string sysctlNSStringForKey(const char* key) {
  return sysctlNSStringForKey(key, Platform::current().systemControls());
}

std::string sysctlNSStringForKey(const char* key, platform::SystemControls& controls) {
  std::string text = bytesForKey(key, controls);
  text.resize(std::min(text.find('\0'), text.size()));
  return isValidUTF8(text) ? text : "";
}

bool isMacOS(platform::SystemControls& controls) {
  const std::string kernel = sysctlNSStringForKey(kKernelName, controls);
  return kernel.empty() || kernel == "Darwin";
}

std::int64_t sysctlNumberForKey(const char* key, platform::SystemControls& controls) {
  const std::string bytes = bytesForKey(key, controls);
  switch (bytes.size()) {
    case sizeof(std::int32_t):
      return numberOfBytes<std::int32_t>(bytes);
    case sizeof(std::int64_t):
      return numberOfBytes<std::int64_t>(bytes);
    default:
      return 0;
  }
}

}  // namespace kelvora
