#include "KelvoraCore/KVNotification.h"

#include <array>

#include "KelvoraCore/KVDataManager.h"

#include "manager/NotificationArchive.h"

namespace kelvora {

std::uint64_t KVNotification::repeatMode() const {
  const std::int64_t chosen = repeat.value_or(0);
  return chosen >= 1 && chosen <= 5 ? static_cast<std::uint64_t>(chosen) : 0;
}

std::uint64_t KVNotification::repeatDelays() const {
  constexpr std::array<std::uint64_t, 6> kSeconds = {0, 10, 30, 60, 120, 300};
  return kSeconds.at(repeatMode());
}

KVSensorPtr KVNotification::sensor(KVDataManager& manager) const {
  return sensorKey ? manager.coreDataStore().getSensorByKey(*sensorKey) : nullptr;
}

std::optional<std::vector<KVNotification>> storedOverheatNotifications(KVSettings& settings) {
  const KVSetting& list = settingOf(KVSettingID::kOverheatNotifications);
  const auto archive = settings.isStored(list) ? settings.value(list) : std::nullopt;
  return archive ? std::optional(notificationsIn(*archive)) : std::nullopt;
}

}  // namespace kelvora
