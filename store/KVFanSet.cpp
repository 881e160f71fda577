#include "KelvoraCore/KVFanSet.h"

#include <utility>

#include "KelvoraCore/KVSettings.h"

#include "base/KeyedArchive.h"

namespace kelvora {

namespace {

// In the order of attributeNames().
enum Name : std::size_t { kIdentifier, kName, kCreated, kValue };

}  // namespace

const std::vector<std::string>& KVFanSet::attributeNames() {
  static const std::vector<std::string> names{"identifier", "name", "created", "value"};
  return names;
}

std::string KVFanSet::identifier() const { return textAt(kIdentifier); }
void KVFanSet::setIdentifier(std::string value) { setTextAt(kIdentifier, std::move(value)); }

std::string KVFanSet::name() const { return textAt(kName); }
void KVFanSet::setName(std::string value) { setTextAt(kName, std::move(value)); }

std::optional<ManagedDate> KVFanSet::created() const { return valueAs<ManagedDate>(kCreated); }
void KVFanSet::setCreated(ManagedDate value) { setValueAt(kCreated, value); }

std::optional<ManagedData> KVFanSet::value() const { return valueAs<ManagedData>(kValue); }
void KVFanSet::setValue(ManagedData value) { setValueAt(kValue, std::move(value)); }

std::optional<PropertyListValue::Dictionary> KVFanSet::valueDict() const {
  const std::optional<ManagedData> bytes = value();
  const auto root =
      bytes ? readKeyedArchive(*bytes, {"NSDictionary", "NSString", "NSNumber", "NSData"})
            : std::nullopt;
  const auto speeds = root ? propertyListValueOf(*root) : std::nullopt;
  const auto* dictionary = speeds ? speeds->as<PropertyListValue::Dictionary>() : nullptr;
  return dictionary == nullptr ? std::nullopt : std::optional(*dictionary);
}

void KVFanSet::setValueDict(const PropertyListValue::Dictionary& speeds) {
  setValue(keyedArchive(archiveValueOf(speeds)));
}

bool KVFanSet::isManualFanSet() const {
  const std::string own = identifier();
  return !own.empty() && settings().manualFanSetId() == own;
}

}  // namespace kelvora
