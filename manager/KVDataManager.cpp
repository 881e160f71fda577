#include "KelvoraCore/KVDataManager.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "KelvoraCore/KVSettingsSnapshot.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr std::int64_t kCachingMode = 1;
constexpr double kKeepValues = -1.0;
constexpr double kReadAlways = 0.0;
constexpr char kFirstMainSensorKey[] = "TC0P";
constexpr char kInternalQueueLabel[] = "com.KVDataManager.internalQueue";

std::atomic<std::int64_t> applicationMode{0};

PropertyListValue listOf(const std::vector<std::string>& texts) {
  return PropertyListValue::Array(texts.begin(), texts.end());
}

PropertyListValue listOf(const std::vector<KVDropdownItem>& items) {
  PropertyListValue::Array list;
  for (const KVDropdownItem& item : items) {
    list.emplace_back(PropertyListValue::Dictionary{{item.name, item.isShown}});
  }
  return list;
}

std::vector<KVDropdownItem> itemsIn(const PropertyListValue& list) {
  std::vector<KVDropdownItem> items;
  for (const PropertyListValue& entry : *list.as<PropertyListValue::Array>()) {
    const auto& [name, shown] = *entry.as<PropertyListValue::Dictionary>()->begin();
    items.push_back({name, shown.boolValue()});
  }
  return items;
}

}  // namespace

KVDataManager& KVDataManager::shared() {
  static KVDataManager& manager = *new KVDataManager();
  return manager;
}

std::int64_t KVDataManager::appMode() { return applicationMode; }

void KVDataManager::setAppMode(std::int64_t mode) { applicationMode = mode; }

void KVDataManager::setupWithAppMode(std::int64_t mode) { setAppMode(mode); }

KVDataManager::KVDataManager(Platform& platform)
    : KVSettings(platform),
      store_(std::make_unique<KVCoreDataStore>(
          appMode() == kCachingMode ? kKeepValues : kReadAlways, platform, *this)) {
  datasetObservation_ = platform.notificationCentres().inProcess().addObserver(
      KVDataManagerDidGenerateDatasetNotification, platform::SuspensionBehavior::kDefault,
      [this](const platform::Notification&) { chooseMainSensor(); });
}

KVDataManager::~KVDataManager() {
  platform().notificationCentres().inProcess().removeObserver(datasetObservation_);
}

void KVDataManager::chooseMainSensor() {
  const KVSetting& setting = settingOf(KVSettingID::kMainSensor);
  const auto key = value(setting);
  if (sensorWith(key) != nullptr) {
    return;
  }
  const KVCoreDataStore::Sensors sensors = store_->tempSensors();
  if (!sensors || sensors->empty()) {
    return;
  }
  // Another program may have chosen one meanwhile.
  changeValue(setting, [&](const std::optional<PropertyListValue>& held) {
    return !held || held == key ? std::optional<PropertyListValue>(sensors->front()->key())
                                : std::nullopt;
  });
}

KVSensorPtr KVDataManager::sensorWith(const std::optional<PropertyListValue>& key) {
  return key ? store_->getSensorByKey(*key->as<std::string>()) : nullptr;
}

KVSensorPtr KVDataManager::mainSensor() {
  return sensorWith(value(settingOf(KVSettingID::kMainSensor)));
}

bool KVDataManager::setMainSensor(const KVSensorPtr& sensor) {
  return setValue(settingOf(KVSettingID::kMainSensor),
                  sensor ? std::optional<PropertyListValue>(sensor->key()) : std::nullopt);
}

std::optional<std::vector<std::string>> KVDataManager::texts(KVSettingID id) {
  const auto list = value(settingOf(id));
  if (!list) {
    return std::nullopt;
  }
  std::vector<std::string> texts;
  for (const PropertyListValue& text : *list->as<PropertyListValue::Array>()) {
    texts.push_back(*text.as<std::string>());
  }
  return texts;
}

std::optional<std::vector<std::string>> KVDataManager::menuSensors() {
  return texts(KVSettingID::kMenuSensors);
}

bool KVDataManager::setMenuSensors(std::optional<std::vector<std::string>> keys) {
  return setValue(settingOf(KVSettingID::kMenuSensors),
                  keys ? std::optional(listOf(*keys)) : std::nullopt);
}

std::optional<std::vector<std::string>> KVDataManager::fileLoggingSensorKeys() {
  auto chosen = texts(KVSettingID::kFileLoggingSensorKeys);
  if (!chosen) {
    const std::vector<std::string> shown = keysOfShownSensors();
    if (!shown.empty()) {
      storeIfNotStored(settingOf(KVSettingID::kFileLoggingSensorKeys), listOf(shown));
    }
  }
  return chosen;
}

std::vector<std::string> KVDataManager::keysOfShownSensors() {
  KVSettingsSnapshot settings(*this);
  std::vector<std::string> keys;
  const KVCoreDataStore::Categories categories = store_->allCategories();
  for (const KVCategoryPtr& category : categories.value_or(std::vector<KVCategoryPtr>())) {
    for (const KVSensorPtr& sensor : category->filterSensors(settings)) {
      keys.push_back(sensor->key());
    }
  }
  return keys;
}

std::vector<KVDropdownItem> KVDataManager::dropdownItems() {
  std::vector<KVDropdownItem> items = itemsIn(*value(settingOf(KVSettingID::kDropdownItems)));
  appendMissingCategories(items);
  return items;
}

bool KVDataManager::setDropdownItems(const std::vector<KVDropdownItem>& items) {
  return setValue(settingOf(KVSettingID::kDropdownItems), listOf(items));
}

void KVDataManager::appendMissingCategories(std::vector<KVDropdownItem>& items) {
  const KVCoreDataStore::Categories categories = store_->allCategories();
  if (!categories) {
    return;
  }
  for (const KVCategoryPtr& category : *categories) {
    if (std::ranges::find(items, category->name(), &KVDropdownItem::name) == items.end()) {
      items.push_back({category->name(), true});
    }
  }
}

KVFanSetPtr KVDataManager::manualFanSet() {
  const auto identifier = manualFanSetId();
  return identifier && !identifier->empty() ? store_->getFanSetById(identifier) : nullptr;
}

KVSerialQueue& KVDataManager::internalQueue() {
  std::call_once(internalQueueOnce_,
                 [this] { internalQueue_ = std::make_unique<KVSerialQueue>(kInternalQueueLabel); });
  return *internalQueue_;
}

void KVDataManager::postDidGenerateDataset() {
  Platform::current().notificationCentres().inProcess().post(
      {KVDataManagerDidGenerateDatasetNotification, std::nullopt, std::nullopt},
      /*deliverImmediately=*/true);
}

std::optional<PropertyListValue> KVDataManager::computedDefault(const KVSetting& setting) {
  switch (setting.id) {
    case KVSettingID::kMainSensor:
      return store_->getSensorByKey(kFirstMainSensorKey)
                 ? std::optional<PropertyListValue>(kFirstMainSensorKey)
                 : std::nullopt;
    case KVSettingID::kMenuSensors: {
      const KVSensorPtr main = mainSensor();
      return main ? std::optional(listOf(std::vector{main->key()})) : std::nullopt;
    }
    case KVSettingID::kDropdownItems: {
      std::vector<KVDropdownItem> items = {{"main_sensor", true}, {"fan_control", true}};
      appendMissingCategories(items);
      return listOf(items);
    }
    default:
      return KVSettings::computedDefault(setting);
  }
}

}  // namespace kelvora
