#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>

#include <unicode/numberformatter.h>

#include "KelvoraCore/KVExtension.h"

namespace kelvora::KVExtension {

namespace {

bool isPlain(std::string_view locale) {
  return locale == "C" || locale == "POSIX" || locale.starts_with("C.");
}

// ICU's default follows the language of messages, and has neither grouping nor a sign for infinity
// where no locale is chosen.
icu::Locale localeOfNumbers() {
  for (const char* variable : {"LC_ALL", "LC_NUMERIC", "LANG"}) {
    const char* name = std::getenv(variable);
    if (name != nullptr && *name != '\0') {
      return isPlain(name) ? icu::Locale::getEnglish() : icu::Locale::createCanonical(name);
    }
  }
  return icu::Locale::getEnglish();
}

}  // namespace

std::string formattedStringFromNumber(std::optional<double> number) {
  static const icu::number::LocalizedNumberFormatter formatter =
      icu::number::NumberFormatter::withLocale(localeOfNumbers())
          .precision(icu::number::Precision::fixedFraction(2));
  if (!number) {
    return "0";
  }
  // Not-a-number has no sign, whatever its bits are.
  const double value = std::isnan(*number) ? std::numeric_limits<double>::quiet_NaN() : *number;
  UErrorCode status = U_ZERO_ERROR;
  std::string text;
  formatter.formatDouble(value, status).toString(status).toUTF8String(text);
  return text;
}

}  // namespace kelvora::KVExtension
