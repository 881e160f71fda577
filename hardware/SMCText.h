#pragma once

#include <array>
#include <string>
#include <string_view>

namespace kelvora {

/// Four bytes and a NUL, as SMCReadKey takes a key.
using SMCKeyText = std::array<char, 5>;

/// Texts of the SMC are bytes, each one the character of that code (ISO 8859-1). Appends one as
/// UTF-8: 0xb0 becomes "°".
void appendSMCCharacter(std::string& text, unsigned char byte);

/// The UTF-8 text of a key or data type, up to its first NUL: "TC0P".
std::string textFromSMC(std::string_view bytes);

/// The bytes of a key given as UTF-8: its first four characters, padded with NUL. A character that
/// has no byte, and bytes that are no UTF-8, become '?'.
SMCKeyText smcKeyFromText(std::string_view text);

/// `text` with U+FFFD in place of whatever is no UTF-8.
std::string wellFormed(std::string_view text);

}  // namespace kelvora
