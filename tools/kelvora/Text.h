#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kelvora::tool {

/// What is shown in place of a value that is not known.
inline constexpr char kNoValue[] = "–";

/// `text` (UTF-8) for a terminal: control characters, which a machine's texts may hold, become "?".
std::string printable(std::string_view text);

/// Whether all of `text` is well-formed UTF-8.
bool isValidUTF8(std::string_view text);

/// Columns that a terminal gives to `text`: wide characters count 2, combining ones 0.
std::size_t displayWidth(std::string_view text);

/// `text` in exactly `width` columns: filled with blanks, or cut with an ellipsis.
std::string fitted(std::string_view text, std::size_t width);

/// `text` at the right end of `width` columns; a longer text stays whole.
std::string rightAligned(std::string_view text, std::size_t width);

/// `text` broken at its blanks into lines of at most `width` columns; a longer word stays whole.
/// Width 0 is one line. Never empty.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

/// The same, but a longer word is broken too: at least one character is on each line.
std::vector<std::string> broken(std::string_view text, std::size_t width);

/// Rows of texts as lines of columns, e.g. a list of rules: each column as wide as its widest text,
/// two blanks between.
std::string table(const std::vector<std::vector<std::string>>& rows);

/// The words as one text: "0, 1 or 2".
std::string enumerated(std::span<const std::string> words, std::string_view last = " or ");

/// A number with so many decimals, in every locale with a point, e.g. "45.50".
std::string fixedText(double number, int decimals);

/// The shortest text that reads back as exactly this finite number, e.g. "45.5", "1e+20": what
/// std::to_chars writes, which macOS has from 13.3 only.
std::string shortestText(double number);

/// A time in the form of ISO 8601 with the zone, e.g. "2024-03-07T14:05:09+01:00".
std::string isoTime(std::chrono::system_clock::time_point time);

}  // namespace kelvora::tool
