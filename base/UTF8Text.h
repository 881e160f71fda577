#pragma once

#include <string>
#include <string_view>

namespace kelvora {

/// Whether all of `text` is well-formed UTF-8.
bool isValidUTF8(std::string_view text);

/// Returns the text with U+FFFD in place of each sequence that is not UTF-8.
std::string validUTF8(std::string_view text);

}  // namespace kelvora
