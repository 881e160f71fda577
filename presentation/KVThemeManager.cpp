#include "KelvoraCore/KVThemeManager.h"

#include <string>

#include "ports/Ports.h"

namespace kelvora {

namespace {

constexpr const char* kSystemThemeChanged = "AppleInterfaceThemeChangedNotification";

}  // namespace

KVThemeManager::KVThemeManager(Platform& platform)
    : platform_(platform),
      observer_(platform.notificationCentres().distributed().addObserver(
          kSystemThemeChanged, platform::SuspensionBehavior::kDefault,
          [this](const platform::Notification&) { handleInterfaceThemeChangedNotification(); })) {}

KVThemeManager::~KVThemeManager() {
  platform_.notificationCentres().distributed().removeObserver(observer_);
}

KVThemeManager& KVThemeManager::sharedInstance() {
  static KVThemeManager& manager = *new KVThemeManager();
  return manager;
}

bool KVThemeManager::isDarkMode(Platform& platform) {
  return platform.userDefaults().globalObject("AppleInterfaceStyle") == PropertyListValue("Dark");
}

void KVThemeManager::handleInterfaceThemeChangedNotification() {
  constexpr bool kDeliverImmediately = false;
  platform_.notificationCentres().distributed().post(
      {KVThemeDidChangeNotification, std::nullopt, std::nullopt}, kDeliverImmediately);
}

}  // namespace kelvora
