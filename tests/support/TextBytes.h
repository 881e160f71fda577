#pragma once

#include <cstddef>
#include <span>
#include <string_view>

namespace kelvora::testing {

inline std::span<const std::byte> textBytes(std::string_view text) {
  return std::as_bytes(std::span(text));
}

}  // namespace kelvora::testing
