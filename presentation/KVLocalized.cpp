#include "KelvoraCore/KVLocalized.h"

#include "KelvoraCore/KVSettings.h"

#include "ports/Ports.h"
#include "presentation/StringsTables.h"

namespace kelvora::KVLocalized {

namespace {

constexpr std::string_view kTableFile = "/Localizable.strings";

std::optional<std::string> folderOf(std::string_view language, Platform& platform) {
  return platform.mainBundle().resourcePath(language, "lproj");
}

std::string textIn(const std::string& folder, std::string_view key) {
  const auto table = StringsTables::shared().tableOf(folder + std::string(kTableFile));
  const auto found = table->find(key);
  return found == table->end() ? std::string(key) : found->second;
}

std::string systemText(std::string_view key, Platform& platform) {
  const auto languages = platform.mainBundle().preferredLocalizations();
  const auto folder = languages.empty() ? std::nullopt : folderOf(languages.front(), platform);
  return folder ? textIn(*folder, key) : std::string(key);
}

}  // namespace

std::optional<std::string> localizedStringForKey(std::string_view key) {
  return localizedStringForKey(key, KVSettings::shared(), Platform::current());
}

std::optional<std::string> localizedStringForKey(std::string_view key, KVSettings& settings,
                                                 Platform& platform) {
  const std::string language = settings.currentLanguage();
  return language.empty() ? systemText(key, platform)
                          : localizedStringForKey(key, language, platform);
}

std::optional<std::string> localizedStringForKey(std::string_view key,
                                                 std::string_view fromLanguage) {
  return localizedStringForKey(key, fromLanguage, Platform::current());
}

std::optional<std::string> localizedStringForKey(std::string_view key,
                                                 std::string_view fromLanguage,
                                                 Platform& platform) {
  const auto folder = folderOf(fromLanguage, platform);
  return folder ? std::optional(textIn(*folder, key)) : std::nullopt;
}

}  // namespace kelvora::KVLocalized
