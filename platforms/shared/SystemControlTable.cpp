#include "platforms/shared/SystemControlTable.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "ports/RoutingMessages.h"

namespace kelvora::platform {

namespace {

struct NumberedControl {
  std::array<int, 2> number;
  const char* name;
};

constexpr std::array kNumberedControls = {
    NumberedControl{{6, 3}, "hw.ncpu"},
    NumberedControl{{6, 7}, "hw.pagesize"},
};

template <typename T>
std::vector<std::byte> hostOrderBytes(T value) {
  const auto bytes = std::bit_cast<std::array<std::byte, sizeof(T)>>(value);
  return {bytes.begin(), bytes.end()};
}

// A number of 4 or 8 bytes as its low 4 bytes; empty for anything else.
std::vector<std::byte> lowFourBytes(const std::vector<std::byte>& bytes) {
  if (bytes.size() == sizeof(std::int32_t)) {
    return bytes;
  }
  if (bytes.size() != sizeof(std::int64_t)) {
    return {};
  }
  std::int64_t number = 0;
  std::memcpy(&number, bytes.data(), sizeof number);
  return int32ControlBytes(static_cast<std::int32_t>(number));
}

}  // namespace

SystemControlTable::SystemControlTable(Values values, std::vector<std::byte> interfaceList)
    : values_(std::move(values)), interfaceList_(std::move(interfaceList)) {}

int SystemControlTable::byName(const char* name, void* value, std::size_t* size) {
  const auto found = values_.find(std::string_view(name));
  return found == values_.end() ? ENOENT : copyControl(found->second, value, size);
}

int SystemControlTable::byNumber(std::span<const int> name, void* value, std::size_t* size) {
  if (std::ranges::equal(name, kInterfaceListControl)) {
    return copyControl(interfaceList_, value, size);
  }
  for (const NumberedControl& control : kNumberedControls) {
    if (!std::ranges::equal(name, control.number)) {
      continue;
    }
    const auto found = values_.find(std::string_view(control.name));
    if (found == values_.end()) {
      return ENOENT;
    }
    const auto bytes = lowFourBytes(found->second);
    return bytes.empty() ? EINVAL : copyControl(bytes, value, size);
  }
  return ENOENT;
}

int copyControl(std::span<const std::byte> bytes, void* value, std::size_t* size) {
  if (size == nullptr) {
    return value == nullptr ? 0 : EFAULT;
  }
  const std::size_t capacity = *size;
  if (value == nullptr) {
    *size = bytes.size();
    return 0;
  }
  *size = std::min(capacity, bytes.size());
  if (*size > 0) {
    std::memcpy(value, bytes.data(), *size);
  }
  return capacity < bytes.size() ? ENOMEM : 0;
}

std::vector<std::byte> textControlBytes(std::string_view text) {
  const auto bytes = std::as_bytes(std::span(text));
  std::vector<std::byte> result(bytes.begin(), bytes.end());
  result.push_back(std::byte{0});
  return result;
}

std::vector<std::byte> int32ControlBytes(std::int32_t value) { return hostOrderBytes(value); }

std::vector<std::byte> int64ControlBytes(std::int64_t value) { return hostOrderBytes(value); }

}  // namespace kelvora::platform
