#include "base/UserTimeZone.h"

#include <cstdint>
#include <cstdlib>

#include <unicode/simpletz.h>

namespace kelvora {

// ICU reads TZ too, but takes the zone of the computer for what it does not know, and reads the
// sign of "GMT-5:30" the other way round.
std::unique_ptr<icu::TimeZone> namedTimeZone() {
  const char* zone = std::getenv("TZ");
  if (zone == nullptr) {
    return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createDefault());
  }
  const auto name = icu::UnicodeString::fromUTF8(*zone == ':' ? zone + 1 : zone);
  icu::UnicodeString canonical;
  UBool isOfTheSystem = false;
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(name, canonical, isOfTheSystem, status);
  return std::unique_ptr<icu::TimeZone>(
      U_SUCCESS(status) && isOfTheSystem ? icu::TimeZone::createTimeZone(name) : nullptr);
}

std::unique_ptr<icu::TimeZone> timeZoneAt(std::time_t instant) {
  if (auto named = namedTimeZone()) {
    return named;
  }
  tzset();
  std::tm fields{};
  const bool isRepresentable = localtime_r(&instant, &fields) != nullptr;
  constexpr int kMillisecondsPerSecond = 1000;
  return std::make_unique<icu::SimpleTimeZone>(
      static_cast<std::int32_t>(fields.tm_gmtoff) * kMillisecondsPerSecond,
      icu::UnicodeString::fromUTF8(isRepresentable ? fields.tm_zone : "UTC"));
}

}  // namespace kelvora
