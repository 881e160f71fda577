#include "KelvoraCore/KVCategory.h"

#include <utility>

namespace kelvora {

namespace {

// In the order of attributeNames().
enum Name : std::size_t { kName, kType };

}  // namespace

const std::vector<std::string>& KVCategory::attributeNames() {
  static const std::vector<std::string> names{"name", "type"};
  return names;
}

std::string KVCategory::name() const { return textAt(kName); }
void KVCategory::setName(std::string value) { setTextAt(kName, std::move(value)); }

std::int16_t KVCategory::type() const { return static_cast<std::int16_t>(integerAt(kType)); }
void KVCategory::setType(std::int16_t value) { setValueAt(kType, std::int64_t{value}); }

}  // namespace kelvora
