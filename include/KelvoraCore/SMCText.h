#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "KelvoraCore/Export.h"

// Keys and texts of the SMC are bytes, each the character of that code (ISO 8859-1). These
// functions translate them to UTF-8 and back. Any thread.

namespace kelvora {

/// Appends one byte of the SMC as UTF-8: 0xb0 becomes "°".
KELVORA_EXPORT void appendSMCCharacter(std::string& text, unsigned char byte);

/// The UTF-8 text of a key or data type, up to its first NUL: "TC0P".
KELVORA_EXPORT std::string textFromSMC(std::string_view bytes);

/// Packs the first four characters of a key given as UTF-8, padded with NUL: "TC0P" gives
/// 0x54433050. A character above U+00FF, and bytes that are not UTF-8, become '?'.
KELVORA_EXPORT std::uint32_t packedKeyFromText(std::string_view text);

}  // namespace kelvora
