// Any bytes as a table of texts: they are refused with a reason, or give keys and texts in
// UTF-8, each of which a number can be put into.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "base/UTF8Text.h"
#include "presentation/IntegerFormat.h"
#include "presentation/StringsTable.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using kelvora::isValidUTF8;
  const auto reading = kelvora::parseStringsTable(std::as_bytes(std::span(data, size)));
  if (reading.table.has_value() != reading.failure.empty()) {
    std::abort();
  }
  if (!reading.table) {
    return 0;
  }
  for (const auto& [key, text] : *reading.table) {
    const std::string formatted = kelvora::formattedWithInteger(text, -1);
    if (!isValidUTF8(key) || !isValidUTF8(text) || !isValidUTF8(formatted)) {
      std::abort();
    }
  }
  return 0;
}
