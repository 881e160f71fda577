#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/Export.h"

/// Small helpers on texts, numbers and dates that the whole library shares. Texts are UTF-8. The
/// pattern helpers read a malformed byte as U+FFFD; the others leave bytes they do not touch as
/// they are. Every function may be called on any thread.
namespace kelvora::KVExtension {

/// Whether `trimWhitespace` leaves nothing: true for "" and " \t ", false for a line feed.
KELVORA_EXPORT bool isBlank(std::string_view text);

/// Every occurrence of `what` replaced, from left to right; a missing `with` removes the
/// occurrences, an empty `what` changes nothing: replace("a,b", ",", ";") gives "a;b".
KELVORA_EXPORT std::string replace(std::string_view text, std::string_view what,
                                   std::optional<std::string_view> with);

/// Without the blanks at its ends (space separators of Unicode and tabs, but no line breaks), and
/// with one blank for each run of blanks: "  a    b  " gives "a b".
KELVORA_EXPORT std::string trimWhitespace(std::string_view text);

/// With one blank for each run of blanks; the ends are not trimmed: "  a    b  " gives " a b ".
KELVORA_EXPORT std::string condenseWhitespace(std::string_view text);

/// The name without any "%@", trimmed by `trimWhitespace`: "Core %@ Temp " gives "Core Temp".
KELVORA_EXPORT std::string formattedName(std::string_view name);

/// With ";" for every ",", so that it stays one field of a comma-separated line.
KELVORA_EXPORT std::string formattedForCSVContent(std::string_view text);

// Patterns are regular expressions of ICU. One that cannot be compiled, or whose matching exceeds
// ICU's limit of time or memory, matches nothing.

/// The first match, trimmed by `trimWhitespace`, or the empty text: getPattern("412  38.4 Safari",
/// "^\\d+\\s") gives "412".
KELVORA_EXPORT std::string getPattern(std::string_view text, std::string_view pattern);

/// With every match removed; case counts.
KELVORA_EXPORT std::string trimPattern(std::string_view text, std::string_view pattern);

/// With every match replaced, whatever its case, by a template in which "$1" is the first group and
/// a backslash takes the next character as it is: ("Apple M1", "Apple ", "") gives "M1". A template
/// that names a group the pattern lacks leaves the text unchanged.
KELVORA_EXPORT std::string removedRegexMatchesWithPattern(std::string_view text,
                                                          std::string_view pattern,
                                                          std::string_view replaceWith);

/// Exactly two fraction digits and the grouping of the user's locale: 1234.5 gives "1,234.50" in
/// English. The locale is that of LC_ALL, LC_NUMERIC or LANG, the first that is set, as it was at
/// the first call; "C", "POSIX" and none count as English. A missing number gives "0"; not-a-number
/// and infinities give the locale's signs for them, "NaN" and "∞" in English.
KELVORA_EXPORT std::string formattedStringFromNumber(std::optional<double> number);

using Date = std::chrono::system_clock::time_point;

/// Formats dates by the patterns of Unicode's date fields, with the locale "en_US_POSIX", the
/// Gregorian calendar and the time zone that was the system's when it was created: that of the
/// environment variable TZ, which may be a rule ("CET-1CEST,M3.5.0,M10.5.0/3"), else the
/// computer's. These are fixed formats: no locale variable, not even LC_TIME, changes them.
class KELVORA_EXPORT DateFormatter {
 public:
  /// Takes over the time zone as it is now. Never fails: an unknown zone counts as UTC.
  DateFormatter();
  ~DateFormatter();
  DateFormatter(const DateFormatter&) = delete;
  DateFormatter& operator=(const DateFormatter&) = delete;

  /// The date by a pattern: "yyyy-MM-dd" gives "2024-03-07".
  std::string stringFromDate(Date date, std::string_view pattern);

 private:
  struct Implementation;
  std::unique_ptr<Implementation> implementation_;
};

/// The shared formatter, created on the first call; it lives for the process.
KELVORA_EXPORT DateFormatter& dateFormatter();

KELVORA_EXPORT std::string timeOnlyFormat(Date date);       ///< "14:05:09"
KELVORA_EXPORT std::string dateOnlyFormat(Date date);       ///< "2024-03-07"
KELVORA_EXPORT std::string dateTimeFormat(Date date);       ///< "2024-03-07 14:05:09"
KELVORA_EXPORT std::string shortDateOnlyFormat(Date date);  ///< "3/07"
KELVORA_EXPORT std::string shortTimeOnlyFormat(Date date);  ///< "14:05"
/// Two lines for a graph's axis: "3/07/2024", a line feed, "14:05:09".
KELVORA_EXPORT std::string dateTimeFormatForGraph(Date date);

}  // namespace kelvora::KVExtension
