#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace kelvora {

/// Two lower-case digits for each byte: {0x1f, 0x40} is "1f40".
std::string hexadecimalText(std::span<const std::byte> bytes);

}  // namespace kelvora
