#include "KelvoraCore/KVLocalized.h"

#include "ports/Ports.h"
#include "presentation/StringsTables.h"

namespace kelvora::KVLocalized {

namespace {

constexpr std::string_view kTableFile = "/Localizable.strings";

using TableHandle = std::shared_ptr<const StringsTable>;

TableHandle tableOf(std::string_view language, Platform& platform) {
  const auto folder = platform.mainBundle().resourcePath(language, "lproj");
  return folder ? StringsTables::shared().tableOf(*folder + std::string(kTableFile)) : nullptr;
}

TableHandle systemTable(Platform& platform) {
  const auto languages = platform.mainBundle().preferredLocalizations();
  TableHandle table = languages.empty() ? nullptr : tableOf(languages.front(), platform);
  return table ? table : std::make_shared<const StringsTable>();
}

TableHandle currentTable(KVSettings& settings, Platform& platform) {
  const std::string language = settings.currentLanguage();
  return language.empty() ? systemTable(platform) : tableOf(language, platform);
}

}  // namespace

Texts::Texts(KVSettings& settings, Platform& platform) : table_(currentTable(settings, platform)) {}

std::optional<std::string> Texts::localizedStringForKey(std::string_view key) const {
  if (table_ == nullptr) {
    return std::nullopt;
  }
  const auto found = table_->find(key);
  return found == table_->end() ? std::string(key) : found->second;
}

std::optional<std::string> localizedStringForKey(std::string_view key, KVSettings& settings,
                                                 Platform& platform) {
  return Texts(settings, platform).localizedStringForKey(key);
}

std::optional<std::string> localizedStringForKey(std::string_view key,
                                                 std::string_view fromLanguage,
                                                 Platform& platform) {
  return Texts(tableOf(fromLanguage, platform)).localizedStringForKey(key);
}

}  // namespace kelvora::KVLocalized
