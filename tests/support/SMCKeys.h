#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "platforms/recorded/RecordedMachine.h"

namespace kelvora::testing {

/// A key or type of four characters as it travels in a record: 0x54433050 for "TC0P".
inline std::uint32_t packedKey(std::string_view text) {
  std::uint32_t packed = 0;
  for (const char character : text) {
    packed = packed << 8 | static_cast<unsigned char>(character);
  }
  return packed;
}

/// The same of a literal, which may hold NULs: "TB\0\0".
inline std::uint32_t packedKey(const char (&text)[5]) {
  return packedKey(std::string_view(text, 4));
}

/// A key of a recorded SMC, readable and without attributes. `key` as packedKey takes it.
template <typename Key>
platform::RecordedSMCKey smcKey(const Key& key, const char (&type)[5],
                                std::initializer_list<int> bytes) {
  platform::RecordedSMCKey result;
  result.key = packedKey(key);
  result.type = packedKey(type);
  for (const int byte : bytes) {
    result.bytes.push_back(static_cast<std::byte>(byte));
  }
  return result;
}

}  // namespace kelvora::testing
