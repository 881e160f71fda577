#include "base/UserLocale.h"

#include <cstdlib>
#include <string>
#include <string_view>

#include "base/SystemLocale.h"

namespace kelvora {

bool isPlainLocale(std::string_view name) {
  return name == "C" || name == "POSIX" || name.starts_with("C.");
}

icu::Locale localeOfCategory(const char* category) {
  for (const char* variable : {"LC_ALL", category, "LANG"}) {
    const char* name = std::getenv(variable);
    if (name != nullptr && *name != '\0') {
      return isPlainLocale(name) ? icu::Locale::getEnglish() : icu::Locale::createCanonical(name);
    }
  }
  const std::string chosen = systemLocale();
  return chosen.empty() ? icu::Locale::getEnglish() : icu::Locale::createCanonical(chosen.c_str());
}

}  // namespace kelvora
