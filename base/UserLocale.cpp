#include "base/UserLocale.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include "base/SystemLocale.h"

namespace kelvora {

namespace {

bool isPlain(std::string_view locale) {
  return locale == "C" || locale == "POSIX" || locale.starts_with("C.");
}

}  // namespace

icu::Locale localeOfCategory(const char* category) {
  for (const char* variable : {"LC_ALL", category, "LANG"}) {
    const char* name = std::getenv(variable);
    if (name != nullptr && *name != '\0') {
      return isPlain(name) ? icu::Locale::getEnglish() : icu::Locale::createCanonical(name);
    }
  }
  const std::string chosen = systemLocale();
  return chosen.empty() ? icu::Locale::getEnglish() : icu::Locale::createCanonical(chosen.c_str());
}

}  // namespace kelvora
