#include <unicode/numberformatter.h>

#include "KelvoraCore/KVExtension.h"

namespace kelvora::KVExtension {

std::string formattedStringFromNumber(std::optional<double> number) {
  static const icu::number::LocalizedNumberFormatter formatter =
      icu::number::NumberFormatter::withLocale(icu::Locale::getDefault())
          .precision(icu::number::Precision::fixedFraction(2));
  if (!number) {
    return "0";
  }
  UErrorCode status = U_ZERO_ERROR;
  std::string text;
  formatter.formatDouble(*number, status).toString(status).toUTF8String(text);
  return text;
}

}  // namespace kelvora::KVExtension
