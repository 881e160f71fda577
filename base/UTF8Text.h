#pragma once

#include <string>
#include <string_view>

namespace kelvora {

/// The text with U+FFFD in place of what is not UTF-8.
std::string validUTF8(std::string_view text);

}  // namespace kelvora
