#include "settings/SettingValue.h"

#include <algorithm>
#include <string>

#include "base/UTF8Text.h"

namespace kelvora {

namespace {

using Array = PropertyListValue::Array;
using Dictionary = PropertyListValue::Dictionary;

bool isNumber(const PropertyListValue& value) {
  return value.as<bool>() != nullptr || value.as<std::int64_t>() != nullptr ||
         value.as<double>() != nullptr;
}

bool isText(const PropertyListValue& value) { return value.as<std::string>() != nullptr; }

bool isItem(const PropertyListValue& value) {
  const auto* entries = value.as<Dictionary>();
  return entries != nullptr && entries->size() == 1 && isNumber(entries->begin()->second);
}

bool isListOf(bool (*isElement)(const PropertyListValue&), const PropertyListValue& value) {
  const auto* elements = value.as<Array>();
  return elements != nullptr && std::all_of(elements->begin(), elements->end(), isElement);
}

bool isOfType(KVSettingType type, const PropertyListValue& value) {
  switch (type) {
    case KVSettingType::kBoolean:
    case KVSettingType::kInteger:
      return isNumber(value);
    case KVSettingType::kText:
      return isText(value);
    case KVSettingType::kTextList:
      return isListOf(isText, value);
    case KVSettingType::kItemList:
      return isListOf(isItem, value);
    case KVSettingType::kData:
      return value.as<PropertyListValue::Data>() != nullptr;
  }
  return false;
}

}  // namespace

std::optional<PropertyListValue> asSettingType(KVSettingType type, const PropertyListValue& value) {
  if (!isOfType(type, value)) {
    return std::nullopt;
  }
  switch (type) {
    case KVSettingType::kBoolean:
      return value.boolValue();
    case KVSettingType::kInteger:
      return value.integerValue();
    default:
      return value;
  }
}

bool isStoredAsItIs(const PropertyListValue& value) {
  const auto isWhole = [](const std::string& text) {
    return isValidUTF8(text) && text.find('\0') == std::string::npos;
  };
  if (const auto* text = value.as<std::string>()) {
    return isWhole(*text);
  }
  if (const auto* elements = value.as<Array>()) {
    return std::ranges::all_of(*elements, isStoredAsItIs);
  }
  const auto* entries = value.as<Dictionary>();
  return entries == nullptr || std::ranges::all_of(*entries, [&](const auto& entry) {
           return isWhole(entry.first) && isStoredAsItIs(entry.second);
         });
}

}  // namespace kelvora
