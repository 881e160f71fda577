#pragma once

#include <ctime>
#include <memory>

#include <unicode/timezone.h>

namespace kelvora {

/// The time zone of the user, by name, e.g. "Europe/Berlin"; null if TZ holds what ICU has no zone
/// for, e.g. "CET-1CEST,M3.5.0,M10.5.0/3" or "GMT-5:30".
std::unique_ptr<icu::TimeZone> namedTimeZone();

/// The time zone of the user at an instant; where it has no name, the offset that the C library
/// gives the instant.
std::unique_ptr<icu::TimeZone> timeZoneAt(std::time_t instant);

}  // namespace kelvora
