#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/KVSettings.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// Texts in the language that the user chose, which may differ from the system's. They come from
/// "<code>.lproj/Localizable.strings" among the host's resources; a table that cannot be read is
/// logged once and counts as empty. Any thread.
namespace KVLocalized {

/// The text for a key in the settings' current language, e.g. "Lüfter" for "category-fan-name" in
/// German; otherwise as `Texts::localizedStringForKey`. Each call asks for the language and checks
/// the table's file again; a host that shows many texts at once makes one `Texts`.
KELVORA_EXPORT std::optional<std::string> localizedStringForKey(
    std::string_view key, KVSettings& settings = KVSettings::shared(),
    Platform& platform = Platform::current());

/// The text for a key in a language, e.g. ("category-fan-name", "de"); the key itself when the
/// language's table has no text for it, none when the host has no folder for the language.
KELVORA_EXPORT std::optional<std::string> localizedStringForKey(
    std::string_view key, std::string_view fromLanguage, Platform& platform = Platform::current());

/// The texts of one language, for a refresh or a report. The constructor finds language and table;
/// it sees every change made before it, and no later one. A lookup costs no file access.
class KELVORA_EXPORT Texts {
 public:
  /// The settings' current language. Without one, the first of the main bundle's preferred
  /// localisations; each key is then its own text where that has none.
  explicit Texts(KVSettings& settings = KVSettings::shared(),
                 Platform& platform = Platform::current());

  /// The text for a key; the key itself when the table has no text for it; none when a current
  /// language is chosen for which the host has no folder.
  std::optional<std::string> localizedStringForKey(std::string_view key) const;

 private:
  friend std::optional<std::string> localizedStringForKey(std::string_view, std::string_view,
                                                          Platform&);
  using Table = std::map<std::string, std::string, std::less<>>;

  explicit Texts(std::shared_ptr<const Table> table) : table_(std::move(table)) {}

  std::shared_ptr<const Table> table_;  // null without a folder for the language
};

}  // namespace KVLocalized

}  // namespace kelvora
