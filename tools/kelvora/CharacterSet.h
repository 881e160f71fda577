#pragma once

#include <string>
#include <string_view>

namespace kelvora::tool {

/// `text` (UTF-8) in the character set of the user's locale, which is the first of LC_ALL, LC_CTYPE
/// and LANG that is set: "de_DE.ISO-8859-1" has "°" as one byte. "C" and "POSIX" have ASCII only. A
/// character that the set lacks becomes one that looks like it and is as wide where there is one:
/// "46 C" for "46°C", "u" for "ü"; else "?". A locale without a character set, one with an unknown
/// set, and no locale at all leave the text as it is.
std::string inCharacterSetOfLocale(std::string_view text);

/// Whether that character set has every character of `text` itself.
bool isInCharacterSetOfLocale(std::string_view text);

}  // namespace kelvora::tool
