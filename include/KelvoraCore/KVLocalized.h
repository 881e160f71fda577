#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/Export.h"

namespace kelvora {

class KVSettings;

class Platform;

/// Texts in the language that the user chose, which may differ from the system's. They stand in
/// "<code>.lproj/Localizable.strings" among the host's resources; a table that cannot be read is
/// logged once and counts as empty. Any thread.
namespace KVLocalized {

/// The text for a key in the settings' current language, e.g. "category-fan-name" gives "Lüfter"
/// in German. Without a current language, in the first of the main bundle's preferred
/// localisations, and the key itself where that has no text for it.
KELVORA_EXPORT std::optional<std::string> localizedStringForKey(std::string_view key);
KELVORA_EXPORT std::optional<std::string> localizedStringForKey(std::string_view key,
                                                                KVSettings& settings,
                                                                Platform& platform);

/// The text for a key in a language, e.g. ("category-fan-name", "de"); the key itself when the
/// language's table has no text for it, none when the host has no folder for the language.
KELVORA_EXPORT std::optional<std::string> localizedStringForKey(std::string_view key,
                                                                std::string_view fromLanguage);
KELVORA_EXPORT std::optional<std::string> localizedStringForKey(std::string_view key,
                                                                std::string_view fromLanguage,
                                                                Platform& platform);

}  // namespace KVLocalized

}  // namespace kelvora
