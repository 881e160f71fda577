#include <cmath>
#include <limits>

#include <unicode/numberformatter.h>

#include "KelvoraCore/KVExtension.h"

#include "base/UserLocale.h"

namespace kelvora::KVExtension {

std::string formattedStringFromNumber(std::optional<double> number) {
  // ICU's default locale has neither grouping nor a sign for infinity where no locale is chosen.
  static const icu::number::LocalizedNumberFormatter formatter =
      icu::number::NumberFormatter::withLocale(localeOfCategory("LC_NUMERIC"))
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
