#include "KelvoraCore/KVError.h"

#include <utility>

#include "KelvoraCore/KVLocalized.h"

namespace kelvora {

namespace {

struct Message {
  std::int64_t code;
  const char* key;
};

constexpr Message kMessages[] = {
    {KVErrorCannotAddFanCondition, "add-fan-condition-alert-message"},
    {KVErrorInvalidSensorKey, "invalid-sensor-key-alert-message"},
    {KVErrorDuplicatedSensor, "duplicated-sensor-alert-message"},
    {KVErrorCannotRemoveDefaultSensor, "cannot-remove-default-sensor-alert-message"},
    {KVErrorInvalidInput, "invalid-input-data-alert-message"},
};
constexpr const char* kGeneralMessage = "general-error-alert-message";

const char* messageKeyOf(std::int64_t code) {
  for (const Message& message : kMessages) {
    if (message.code == code) {
      return message.key;
    }
  }
  return kGeneralMessage;
}

std::string localized(const char* key, KVSettings& settings, Platform& platform) {
  return KVLocalized::localizedStringForKey(key, settings, platform).value_or(key);
}

}  // namespace

std::string KVError::localizedDescription() const {
  const auto found = userInfo.find(KVLocalizedDescriptionKey);
  return found == userInfo.end() ? std::string() : found->second;
}

KVError KVError::errorWithCode(std::int64_t code, std::optional<std::string> message,
                               KVSettings& settings, Platform& platform) {
  std::string text = message ? std::move(*message) : localized(kGeneralMessage, settings, platform);
  return {KVErrorDomain, code, {{KVLocalizedDescriptionKey, std::move(text)}}};
}

KVError KVError::errorWithCode(std::int64_t code, KVSettings& settings, Platform& platform) {
  return errorWithCode(code, localized(messageKeyOf(code), settings, platform), settings, platform);
}

}  // namespace kelvora
