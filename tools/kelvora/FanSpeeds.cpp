#include "tools/kelvora/FanSpeeds.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

#include "tools/kelvora/Refusals.h"
#include "tools/kelvora/SettingText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr std::string_view kFanLetters = "0123456789ABCDEFGHIJ";
static_assert(kFanLetters.size() == kMostFans);

// None for anything but a decimal number as a whole.
std::optional<double> revolutionsIn(const std::string& text) {
  const Json number = Json::parse(text, nullptr, /*allow_exceptions=*/false);
  return number.is_number() ? std::optional(number.get<double>()) : std::nullopt;
}

}  // namespace

std::string fanSetKey(std::uint64_t fan) { return {'F', kFanLetters.at(fan)}; }

std::optional<std::uint64_t> fanOfSetKey(std::string_view key) {
  const std::size_t index =
      key.size() == 2 && key[0] == 'F' ? kFanLetters.find(key[1]) : kFanLetters.npos;
  return index == kFanLetters.npos ? std::nullopt : std::optional<std::uint64_t>(index);
}

PropertyListValue::Dictionary parsedSpeeds(const std::vector<std::string>& words) {
  PropertyListValue::Dictionary speeds;
  for (const std::string& word : words) {
    const std::size_t sign = std::min(word.find('='), word.size());
    const auto revolutions = revolutionsIn(word.substr(std::min(sign + 1, word.size())));
    std::string key = word.substr(0, sign);
    if (fanOfSetKey("F" + key)) {  // "0=1200"
      key.insert(0, 1, 'F');
    }
    if (!fanOfSetKey(key) || !revolutions || !(*revolutions > 0) || *revolutions > kMostSetSpeed) {
      refuse(word, KVErrorInvalidInput,
             "a speed is a fan's index and its revolutions per minute, e.g. 0=1200");
    }
    if (!speeds.emplace(key, *revolutions).second) {
      refuse(key, KVErrorInvalidInput, "this fan has two speeds");
    }
  }
  if (speeds.empty()) {
    refuse("SPEED", KVErrorInvalidInput, "a fan set needs a speed, e.g. 0=1200");
  }
  return speeds;
}

std::string speedsText(const PropertyListValue::Dictionary& speeds) {
  std::string text;
  for (const auto& [key, value] : speeds) {
    const double number = value.doubleValue();
    const bool isWhole = value.as<double>() != nullptr && std::trunc(number) == number;
    text += (text.empty() ? "" : " ") + printable(key) + "=" +
            (isWhole ? std::to_string(value.integerValue()) : settingText(value));
  }
  return text;
}

}  // namespace kelvora::tool
