#include <cstdlib>
#include <ctime>
#include <mutex>

#include <unicode/gregocal.h>
#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include "KelvoraCore/KVExtension.h"

namespace kelvora::KVExtension {

namespace {

// Whether TZ holds what ICU has no zone for, a rule say: "CET-1CEST,M3.5.0,M10.5.0/3". ICU would
// take the zone of the computer then.
bool isZoneOfTheCLibraryOnly() {
  const char* zone = std::getenv("TZ");
  if (zone == nullptr) {
    return false;
  }
  const std::unique_ptr<icu::TimeZone> known(
      icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(*zone == ':' ? zone + 1 : zone)));
  return *known == icu::TimeZone::getUnknown();
}

// The zone that the C library's rule gives an instant.
icu::SimpleTimeZone zoneAt(std::time_t instant) {
  std::tm fields{};
  localtime_r(&instant, &fields);
  constexpr int kMillisecondsPerSecond = 1000;
  return {static_cast<std::int32_t>(fields.tm_gmtoff) * kMillisecondsPerSecond,
          icu::UnicodeString::fromUTF8(fields.tm_zone)};
}

}  // namespace

struct DateFormatter::Implementation {
  explicit Implementation(UErrorCode& status)
      : format(icu::UnicodeString(), icu::Locale("en_US_POSIX"), status) {
    format.adoptCalendar(new icu::GregorianCalendar(icu::TimeZone::createDefault(),
                                                    icu::Locale("en_US_POSIX"), status));
    if (takesZoneOfTheCLibrary) {
      tzset();
    }
  }

  std::mutex mutex;  // the pattern and the text that it gives belong together
  icu::SimpleDateFormat format;
  const bool takesZoneOfTheCLibrary = isZoneOfTheCLibraryOnly();
};

DateFormatter::DateFormatter() {
  UErrorCode status = U_ZERO_ERROR;
  implementation_ = std::make_unique<Implementation>(status);
}

DateFormatter::~DateFormatter() = default;

std::string DateFormatter::stringFromDate(Date date, std::string_view pattern) {
  const auto sinceEpoch = std::chrono::floor<std::chrono::milliseconds>(date.time_since_epoch());
  const icu::UnicodeString decodedPattern = icu::UnicodeString::fromUTF8(
      icu::StringPiece(pattern.data(), static_cast<std::int32_t>(pattern.size())));
  icu::UnicodeString text;
  {
    const std::lock_guard lock(implementation_->mutex);
    if (implementation_->takesZoneOfTheCLibrary) {
      implementation_->format.setTimeZone(zoneAt(std::chrono::system_clock::to_time_t(date)));
    }
    implementation_->format.applyPattern(decodedPattern);
    implementation_->format.format(static_cast<UDate>(sinceEpoch.count()), text);
  }
  std::string result;
  return text.toUTF8String(result);
}

// Never destroyed: whatever lives for the process formats dates until the very end.
DateFormatter& dateFormatter() {
  static auto* const formatter = new DateFormatter;
  return *formatter;
}

std::string timeOnlyFormat(Date date) { return dateFormatter().stringFromDate(date, "HH:mm:ss"); }

std::string dateOnlyFormat(Date date) { return dateFormatter().stringFromDate(date, "yyyy-MM-dd"); }

std::string dateTimeFormat(Date date) { return dateOnlyFormat(date) + ' ' + timeOnlyFormat(date); }

std::string shortDateOnlyFormat(Date date) { return dateFormatter().stringFromDate(date, "M/dd"); }

std::string shortTimeOnlyFormat(Date date) { return dateFormatter().stringFromDate(date, "HH:mm"); }

std::string dateTimeFormatForGraph(Date date) {
  return dateFormatter().stringFromDate(date, "M/dd/yyyy") + '\n' + timeOnlyFormat(date);
}

}  // namespace kelvora::KVExtension
