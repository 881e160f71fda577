// Any bytes as a property list: they are refused with a reason, or give a value that can be written
// in both formats and read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "base/PropertyListFile.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvora;
  const PropertyListReading reading = parsePropertyList(std::as_bytes(std::span(data, size)));
  if (reading.value.has_value() != reading.failure.empty()) {
    std::abort();
  }
  if (!reading.value) {
    return 0;
  }
  for (const PropertyListFormat format : {PropertyListFormat::kBinary, PropertyListFormat::kXML}) {
    if (!parsePropertyList(serializePropertyList(*reading.value, format)).value) {
      std::abort();
    }
  }
  return 0;
}
