#include "KelvoraCore/KVViewController.h"

#include <utility>

#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/KVThemeManager.h"

#include "ports/Ports.h"

namespace kelvora {

namespace {

struct Subscription {
  const char* name;
  platform::SuspensionBehavior whileSuspended;
  void (KVViewController::*handler)();
};

constexpr Subscription kSubscriptions[] = {
    {KVDataManagerLanguageDidChangeNotification, platform::SuspensionBehavior::kCoalesce,
     &KVViewController::handleLanguageDidChangeNotification},
    {KVThemeDidChangeNotification, platform::SuspensionBehavior::kDefault,
     &KVViewController::handleThemeDidChangeNotification},
    {KVDataManagerSettingsDidChangeNotification, platform::SuspensionBehavior::kCoalesce,
     &KVViewController::handleSettingsDidChangeNotification},
};

}  // namespace

KVViewController::KVViewController(Platform& platform) : platform_(platform) {}

KVViewController::~KVViewController() { unsubscribe(); }

void KVViewController::viewDidLoad() {
  if (distributed_.empty()) {
    auto& centre = platform_.notificationCentres().distributed();
    for (const Subscription& subscription : kSubscriptions) {
      distributed_.push_back(
          centre.addObserver(subscription.name, subscription.whileSuspended,
                             [this, handler = subscription.handler](const platform::Notification&) {
                               (this->*handler)();
                             }));
    }
  }
  configureUI();
  localizeUI();
}

void KVViewController::observeInProcess(const std::string& name, std::function<void()> handler) {
  inProcess_.push_back(platform_.notificationCentres().inProcess().addObserver(
      name, platform::SuspensionBehavior::kDefault,
      [called = std::move(handler)](const platform::Notification&) { called(); }));
}

void KVViewController::unsubscribe() {
  for (const std::uint64_t token : distributed_) {
    platform_.notificationCentres().distributed().removeObserver(token);
  }
  for (const std::uint64_t token : inProcess_) {
    platform_.notificationCentres().inProcess().removeObserver(token);
  }
}

}  // namespace kelvora
