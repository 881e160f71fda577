#include "tools/kelvora/SettingText.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <system_error>
#include <utility>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVSettings.h"

#include "tools/kelvora/KnownSensors.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

using Array = PropertyListValue::Array;
using Dictionary = PropertyListValue::Dictionary;

// The settings that take a few values only; the others take any of their type.
struct ChoiceRow {
  KVSettingID id;
  std::vector<std::string> choices;
};

std::vector<ChoiceRow> choiceTable() {
  return {{KVSettingID::kCurrentLanguage, KVSettings::shared().allLanguages()},
          {KVSettingID::kGraphTimeRange, {"0", "1", "2"}},
          {KVSettingID::kUpdateFrequency, {"0", "1", "2"}},
          {KVSettingID::kFanValueType, {"0", "1"}}};
}

std::vector<std::string> choicesOf(const KVSetting& setting) {
  if (setting.type == KVSettingType::kBoolean) {
    return {"true", "false"};
  }
  for (ChoiceRow& row : choiceTable()) {
    if (row.id == setting.id) {
      return std::move(row.choices);
    }
  }
  return {};
}

// The other whole numbers are the hosts' own.
bool isCount(const KVSetting& setting) { return setting.id == KVSettingID::kAppLaunchCount; }

// The main sensor is a stored one. The other settings with keys are lists of texts, of which
// programs skip those that they do not know.
bool isSensor(const KVSetting& setting) { return setting.id == KVSettingID::kMainSensor; }

struct JSONOfValue {
  Json operator()(bool value) const { return value; }
  Json operator()(std::int64_t value) const { return value; }
  Json operator()(double value) const { return jsonNumber(value); }
  Json operator()(const std::string& text) const { return text; }
  Json operator()(const PropertyListValue::Data& data) const { return {{"bytes", data.size()}}; }
  Json operator()(PropertyListValue::Date date) const {
    return std::chrono::duration<double>(date.time_since_epoch()).count();
  }
  Json operator()(const Array& values) const {
    Json list = Json::array();
    for (const PropertyListValue& value : values) {
      list.push_back(jsonValue(value));
    }
    return list;
  }
  Json operator()(const Dictionary& values) const {
    Json object = Json::object();
    for (const auto& [key, value] : values) {
      object[key] = jsonValue(value);
    }
    return object;
  }
};

std::optional<PropertyListValue> parsedInteger(std::string_view text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole ? std::optional<PropertyListValue>(number) : std::nullopt;
}

// A text in a property list ends at its first NUL.
bool isStorable(std::string_view text) {
  return isValidUTF8(text) && text.find('\0') == std::string_view::npos;
}

std::optional<PropertyListValue> parsedText(const std::string& text) {
  return isStorable(text) ? std::optional<PropertyListValue>(text) : std::nullopt;
}

// One name and a boolean.
std::optional<PropertyListValue> parsedItem(const Json& item) {
  const bool isItem = item.is_object() && item.size() == 1 && item.begin()->is_boolean() &&
                      isStorable(item.begin().key());
  return isItem ? std::optional<PropertyListValue>(
                      Dictionary{{item.begin().key(), item.begin()->get<bool>()}})
                : std::nullopt;
}

std::optional<PropertyListValue> elementOf(KVSettingType list, const Json& element) {
  if (list == KVSettingType::kItemList) {
    return parsedItem(element);
  }
  return element.is_string() ? parsedText(element.get<std::string>()) : std::nullopt;
}

std::optional<PropertyListValue> parsedList(KVSettingType type, std::string_view text) {
  constexpr bool kThrows = false;
  const Json list = Json::parse(text, nullptr, kThrows);
  if (!list.is_array()) {
    return std::nullopt;
  }
  Array values;
  for (const Json& element : list) {
    auto value = elementOf(type, element);
    if (!value) {
      return std::nullopt;
    }
    values.push_back(*std::move(value));
  }
  return values;
}

std::optional<PropertyListValue> parsed(KVSettingType type, std::string_view text) {
  switch (type) {
    case KVSettingType::kBoolean:
      return text == "true";
    case KVSettingType::kInteger:
      return parsedInteger(text);
    case KVSettingType::kText:
      return parsedText(std::string(text));
    case KVSettingType::kTextList:
    case KVSettingType::kItemList:
      return parsedList(type, text);
    case KVSettingType::kData:
      break;
  }
  return std::nullopt;
}

}  // namespace

Json jsonValue(const PropertyListValue& value) {
  return std::visit(JSONOfValue(), value.storage());
}

std::string settingText(const std::optional<PropertyListValue>& value) {
  if (!value) {
    return "none";
  }
  if (const auto* text = value->as<std::string>()) {
    return printable(*text);
  }
  if (const auto* data = value->as<PropertyListValue::Data>()) {
    return std::to_string(data->size()) + " bytes";
  }
  return printable(jsonValue(*value).dump(-1, ' ', false, Json::error_handler_t::replace));
}

std::string allowedValues(const KVSetting& setting) {
  const std::vector<std::string> choices = choicesOf(setting);
  if (!choices.empty()) {
    return enumerated(choices);
  }
  switch (setting.type) {
    case KVSettingType::kInteger:
      return isCount(setting) ? "a whole number from 0" : "a whole number";
    case KVSettingType::kText:
      return isSensor(setting) ? "the key of a sensor that 'kelvora sensors' lists or the store has"
                               : "a text in UTF-8";
    case KVSettingType::kTextList:
      return R"(a JSON array of texts, e.g. ["TC0P"])";
    case KVSettingType::kItemList:
      return R"(a JSON array of names with true or false, e.g. [{"main_sensor": true}])";
    default:
      return "nothing";
  }
}

std::optional<PropertyListValue> parsedSetting(const KVSetting& setting, std::string_view text) {
  const std::vector<std::string> choices = choicesOf(setting);
  if (!choices.empty() && std::ranges::find(choices, text) == choices.end()) {
    return std::nullopt;
  }
  auto value = parsed(setting.type, text);
  const auto* number = value ? value->as<std::int64_t>() : nullptr;
  const bool isRefused = (number != nullptr && *number < 0 && isCount(setting)) ||
                         (value && isSensor(setting) && !isKnownSensor(text));
  return isRefused ? std::nullopt : value;
}

}  // namespace kelvora::tool
