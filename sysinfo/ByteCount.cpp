#include "sysinfo/ByteCount.h"

#include <cmath>
#include <cstddef>
#include <iterator>

#include <unicode/numberformatter.h>

namespace kelvora {

namespace {

struct Unit {
  const char* name;
  int maximumDecimals;
};

// Each a thousand, or 1024, of the one before; 64 bits end in the exabytes.
constexpr Unit kUnits[] = {{"bytes", 0}, {"KB", 0}, {"MB", 1}, {"GB", 2},
                           {"TB", 2},    {"PB", 2}, {"EB", 2}};

double rounded(double count, int decimals) {
  const double scale = std::pow(10.0, decimals);
  return std::nearbyint(count * scale) / scale;
}

std::string numberText(double count, int maximumDecimals) {
  UErrorCode status = U_ZERO_ERROR;
  std::string text;
  icu::number::NumberFormatter::withLocale(icu::Locale::getEnglish())
      .precision(icu::number::Precision::maxFraction(maximumDecimals))
      .formatDouble(count, status)
      .toString(status)
      .toUTF8String(text);
  return text;
}

}  // namespace

std::string formattedByteCount(std::uint64_t bytes, ByteCountStyle style) {
  if (bytes == 0) {
    return "Zero KB";
  }
  if (bytes == 1) {
    return "1 byte";
  }
  const double step = style == ByteCountStyle::kDecimal ? 1000 : 1024;
  double count = static_cast<double>(bytes);
  std::size_t unit = 0;
  // A count that would round up to a whole next unit is shown in that unit: never "1,024 KB".
  while (rounded(count, kUnits[unit].maximumDecimals) >= step && unit + 1 < std::size(kUnits)) {
    count /= step;
    ++unit;
  }
  return numberText(count, kUnits[unit].maximumDecimals) + ' ' + kUnits[unit].name;
}

}  // namespace kelvora
