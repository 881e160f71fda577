#include "manager/NotificationArchive.h"

#include <string>
#include <utility>

#include "base/ArchivedField.h"
#include "base/KeyedArchive.h"

namespace kelvora {

namespace {

constexpr const char* kClassName = "KVNotification";

template <typename T>
void addField(ArchiveValue::Object& object, const char* name, const std::optional<T>& value) {
  if (value) {
    object.add(name, *value);
  }
}

ArchiveValue archiveOf(const KVNotification& rule) {
  ArchiveValue::Object object(kClassName);
  addField(object, "sensorKey", rule.sensorKey);
  addField(object, "sensorName", rule.sensorName);
  addField(object, "threshold", rule.threshold);
  addField(object, "active", rule.active);
  addField(object, "repeat", rule.repeat);
  addField(object, "lastTimeFired", rule.lastTimeFired);
  return object;
}

KVNotification ruleOf(const ArchiveValue::Object& object) {
  return {.sensorKey = archivedField<std::string>(object, "sensorKey"),
          .sensorName = archivedField<std::string>(object, "sensorName"),
          .threshold = archivedField<double>(object, "threshold"),
          .active = archivedField<bool>(object, "active"),
          .repeat = archivedField<std::int64_t>(object, "repeat"),
          .lastTimeFired = archivedField<KVNotification::Date>(object, "lastTimeFired")};
}

}  // namespace

PropertyListValue::Data archiveOfNotifications(const std::vector<KVNotification>& rules) {
  ArchiveValue::Array list;
  for (const KVNotification& rule : rules) {
    list.push_back(archiveOf(rule));
  }
  return keyedArchive(list);
}

std::optional<std::vector<KVNotification>> notificationsInArchive(
    const PropertyListValue::Data& bytes) {
  const auto root =
      readKeyedArchive(bytes, {"NSArray", kClassName, "NSNumber", "NSString", "NSDate"});
  const auto* list = root ? root->as<ArchiveValue::Array>() : nullptr;
  if (list == nullptr) {
    return std::nullopt;
  }
  std::vector<KVNotification> rules;
  for (const ArchiveValue& item : *list) {
    const auto* object = item.as<ArchiveValue::Object>();
    if (object == nullptr) {
      return std::nullopt;
    }
    rules.push_back(ruleOf(*object));
  }
  return rules;
}

std::vector<KVNotification> notificationsIn(const PropertyListValue& stored) {
  const auto* bytes = stored.as<PropertyListValue::Data>();
  return (bytes == nullptr ? std::nullopt : notificationsInArchive(*bytes))
      .value_or(std::vector<KVNotification>());
}

}  // namespace kelvora
