#include <mutex>

#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>

#include "KelvoraCore/KVExtension.h"

#include "base/UserTimeZone.h"

namespace kelvora::KVExtension {

struct DateFormatter::Implementation {
  explicit Implementation(UErrorCode& status)
      : format(icu::UnicodeString(), icu::Locale("en_US_POSIX"), status) {
    auto zone = namedTimeZone();
    hasNamedZone = zone != nullptr;
    format.adoptCalendar(
        new icu::GregorianCalendar(hasNamedZone ? zone.release() : icu::TimeZone::createDefault(),
                                   icu::Locale("en_US_POSIX"), status));
  }

  std::mutex mutex;  // the pattern and the text that it gives belong together
  icu::SimpleDateFormat format;
  bool hasNamedZone = false;
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
    if (!implementation_->hasNamedZone) {
      implementation_->format.adoptTimeZone(
          timeZoneAt(std::chrono::system_clock::to_time_t(date)).release());
    }
    implementation_->format.applyPattern(decodedPattern);
    implementation_->format.format(static_cast<UDate>(sinceEpoch.count()), text);
  }
  std::string result;
  return text.toUTF8String(result);
}

// Never destroyed: objects with process lifetime may format dates during exit.
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
