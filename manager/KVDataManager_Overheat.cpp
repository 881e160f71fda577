#include <algorithm>
#include <utility>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/KVValueConverter.h"

#include "base/Log.h"
#include "manager/NotificationArchive.h"

namespace kelvora {

namespace {

constexpr std::int64_t kLaunchesOfANewUser = 2;
constexpr double kDefaultThresholdCelsius = 70.0;

const KVSetting& listSetting() { return settingOf(KVSettingID::kOverheatNotifications); }

// None, and logged, for a list that no program could read back.
std::optional<PropertyListValue> storableArchiveOf(const std::vector<KVNotification>& rules) {
  PropertyListValue::Data archive = archiveOfNotifications(rules);
  if (!notificationsInArchive(archive)) {
    log("Overheat rules: the list is too large to be stored");
    return std::nullopt;
  }
  return archive;
}

auto isFor(std::string_view sensorKey) {
  return [sensorKey](const KVNotification& rule) { return rule.sensorKey == sensorKey; };
}

}  // namespace

std::vector<KVNotification> KVDataManager::defaultOverheatNotifications() {
  KVNotification rule;
  if (const KVSensorPtr main = mainSensor()) {
    rule.sensorKey = main->key();
    rule.sensorName = main->name();
  }
  rule.threshold = KVValueConverter::convertedTemp(kDefaultThresholdCelsius, *this);
  rule.active = true;
  rule.repeat = 0;
  return {rule};
}

std::optional<std::vector<KVNotification>> KVDataManager::overheatNotifications() {
  auto rules = storedOverheatNotifications(*this);
  if (!rules) {
    if (appLaunchCount() >= kLaunchesOfANewUser) {
      return std::nullopt;
    }
    std::vector<KVNotification> defaults = defaultOverheatNotifications();
    const bool isKept = announceDefault(listSetting(), archiveOfNotifications(defaults));
    rules =
        isKept ? std::nullopt : storedOverheatNotifications(*this);  // another program was first
    if (!rules) {
      return defaults;
    }
  }
  std::erase_if(*rules, [&](const KVNotification& rule) {
    return rule.sensorKey != kAnySensorKey && rule.sensor(*this) == nullptr;
  });
  return rules;
}

std::optional<KVNotification> KVDataManager::getOverheatNotificationBySensorKey(
    std::string_view sensorKey) {
  const auto rules = overheatNotifications();
  if (!rules) {
    return std::nullopt;
  }
  const auto found = std::ranges::find_if(*rules, isFor(sensorKey));
  return found == rules->end() ? std::nullopt : std::optional(*found);
}

bool KVDataManager::setOverheatNotifications(const std::vector<KVNotification>& rules) {
  const auto archive = storableArchiveOf(rules);
  return archive && setValue(listSetting(), archive);
}

// A store that cannot be read now has not lost its sensors.
bool KVDataManager::isSensorGone(const KVNotification& rule) {
  if (!rule.sensorKey || rule.sensorKey == kAnySensorKey) {
    return !rule.sensorKey;
  }
  const ManagedObjectContextPtr context = store_->viewContext();
  const auto found =
      context == nullptr
          ? std::nullopt
          : context->objectsOf(KVSensor::kEntityName, Predicate("key = %@", {*rule.sensorKey}));
  return found && found->empty();
}

bool KVDataManager::changeOverheatNotifications(
    const std::function<bool(std::vector<KVNotification>&)>& change) {
  overheatNotifications();  // stores the list of a new user
  return changeValue(
      listSetting(),
      [&](const std::optional<PropertyListValue>& archive) -> std::optional<PropertyListValue> {
        std::vector<KVNotification> rules =
            archive ? notificationsIn(*archive) : std::vector<KVNotification>();
        std::erase_if(rules, [&](const KVNotification& rule) { return isSensorGone(rule); });
        return change(rules) ? storableArchiveOf(rules) : std::nullopt;
      });
}

bool KVDataManager::updateOverheatNotification(const KVNotification& rule) {
  return changeOverheatNotifications([&](std::vector<KVNotification>& rules) {
    const auto found = std::ranges::find(rules, rule);
    if (found != rules.end()) {
      *found = rule;
    }
    return true;
  });
}

bool KVDataManager::addOverheatNotification(const KVNotification& rule) {
  return changeOverheatNotifications([&](std::vector<KVNotification>& rules) {
    const bool isNew = std::ranges::find(rules, rule) == rules.end();
    if (isNew) {
      rules.push_back(rule);
    }
    return isNew;
  });
}

bool KVDataManager::removeOverheatNotification(std::string_view sensorKey) {
  return changeOverheatNotifications([&](std::vector<KVNotification>& rules) {
    return std::erase_if(rules, isFor(sensorKey)) > 0;
  });
}

bool KVDataManager::changeOverheatNotification(std::string_view sensorKey,
                                               const std::function<void(KVNotification&)>& change) {
  return changeOverheatNotifications([&](std::vector<KVNotification>& rules) {
    const auto found = std::ranges::find_if(rules, isFor(sensorKey));
    if (found != rules.end()) {
      change(*found);
    }
    return found != rules.end();
  });
}

}  // namespace kelvora
