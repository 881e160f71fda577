#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>

namespace kelvora {

/// Keys and texts of a "Localizable.strings" file, as UTF-8.
using StringsTable = std::map<std::string, std::string, std::less<>>;

/// A table that was read, or why it could not be.
struct StringsTableReading {
  std::optional<StringsTable> table;
  std::string failure;  ///< e.g. "line 3: ';' expected"; empty when there is a table
};

/// Reads a table: entries `"key" = "text";` (or `key;`, whose text is the key) between comments,
/// with or without braces around them; a word of letters, digits and _ $ / : . - needs no quotes.
/// Escapes are \a \b \f \n \r \t \v, \Uxxxx (a UTF-16 unit), up to three octal digits, and any
/// other character for itself. UTF-8, or UTF-16 in either order of bytes; a compiled table (a
/// property list of texts) is read, too. A later entry of the same key counts.
StringsTableReading parseStringsTable(std::span<const std::byte> bytes);

}  // namespace kelvora
