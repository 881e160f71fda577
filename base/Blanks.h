#pragma once

#include <string>
#include <string_view>

namespace kelvora {

/// Removes tabs and the space separators of Unicode, the system's whitespace set, from both ends.
/// Line breaks stay. Returns a view into `text`.
std::string_view trimmedOfBlanks(std::string_view text);

/// Removes also line breaks and the line and paragraph separators of Unicode. Returns a view into
/// `text`.
std::string_view trimmedOfBlanksAndLineEnds(std::string_view text);

/// Replaces each run of blanks (U+0020) by one blank.
std::string withSingleBlanks(std::string_view text);

}  // namespace kelvora
