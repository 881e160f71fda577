#pragma once

#include <vector>

#include "KelvoraCore/KVSetting.h"

#include "ports/Ports.h"
#include "tests/support/MainQueueLoop.h"

namespace kelvora::testing {

/// The change notifications that reach a program, in order. They come when the main queue runs.
class RecordedNotices {
 public:
  explicit RecordedNotices(Platform& platform) : platform_(platform) {
    for (const char* name :
         {KVDataManagerSettingsDidChangeNotification, KVDataManagerLanguageDidChangeNotification,
          KVDataManagerMenuSensorsDidChangeNotification,
          KVDataManagerUpdateFrequencyDidChangeNotification,
          KVDataManagerOverheatListDidChangeNotification,
          KVDataManagerFileLoggingSensorKeysDidChangeNotification}) {
      tokens_.push_back(centre().addObserver(
          name, platform::SuspensionBehavior::kDefault,
          [this](const platform::Notification& notice) { heard_.push_back(notice); }));
    }
  }
  ~RecordedNotices() {
    for (const platform::ObserverToken token : tokens_) {
      centre().removeObserver(token);
    }
  }
  RecordedNotices(const RecordedNotices&) = delete;
  RecordedNotices& operator=(const RecordedNotices&) = delete;

  /// Runs the main queue until it is empty and returns what was heard since the last call.
  std::vector<platform::Notification> take() {
    runDry(platform_.mainQueue());
    return std::exchange(heard_, {});
  }

 private:
  platform::NotificationCentre& centre() { return platform_.notificationCentres().distributed(); }

  Platform& platform_;
  std::vector<platform::ObserverToken> tokens_;
  std::vector<platform::Notification> heard_;
};

}  // namespace kelvora::testing
