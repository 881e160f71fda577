// Any bytes as a keyed archive: they are refused, or give a value that can be archived and read
// again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "base/KeyedArchive.h"

namespace {

using kelvora::ArchiveValue;

// How many values a tree has. libplist takes long to write many.
std::size_t countOf(const ArchiveValue& value) {
  std::size_t count = 1;
  if (const auto* items = value.as<ArchiveValue::Array>()) {
    for (const ArchiveValue& item : *items) {
      count += countOf(item);
    }
  }
  if (const auto* items = value.as<ArchiveValue::Dictionary>()) {
    for (const auto& [key, item] : *items) {
      count += countOf(item);
    }
  }
  if (const auto* object = value.as<ArchiveValue::Object>()) {
    for (const ArchiveValue& item : object->values) {
      count += countOf(item);
    }
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kelvora;
  static const std::vector<std::string> kAllowed = {
      "NSArray", "NSDictionary", "NSString", "NSNumber", "NSDate", "NSData", "KVNotification"};
  constexpr std::size_t kMostValues = 1000;
  // A value that is almost too large may be too large with replacement characters in its texts.
  constexpr std::size_t kMostBytes = 1 << 20;
  const auto value = readKeyedArchive(std::as_bytes(std::span(data, size)), kAllowed);
  if (!value || countOf(*value) > kMostValues) {
    return 0;
  }
  const auto bytes = keyedArchive(*value);
  if (bytes.size() < kMostBytes && !readKeyedArchive(bytes, kAllowed)) {
    std::abort();
  }
  return 0;
}
