#pragma once

#include <string>
#include <string_view>

namespace kelvora {

/// Without the members of the platform's whitespace set at its ends: tabs and the space separators
/// of Unicode. Line breaks stay. A view into `text`.
std::string_view trimmedOfBlanks(std::string_view text);

/// Without whitespace, line breaks and the line and paragraph separators of Unicode at its ends. A
/// view into `text`.
std::string_view trimmedOfBlanksAndLineEnds(std::string_view text);

/// With one blank (U+0020) where two or more stood in a row.
std::string withSingleBlanks(std::string_view text);

/// Whether `text` is well-formed UTF-8.
bool isValidUTF8(std::string_view text);

}  // namespace kelvora
