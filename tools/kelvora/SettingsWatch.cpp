#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/KVThemeManager.h"
#include "KelvoraCore/SensorController.h"
#include "KelvoraCore/StopSignal.h"

#include "base/Log.h"
#include "ports/Ports.h"
#include "tools/kelvora/Command.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SettingText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

constexpr char kMoment[] = "yyyy-MM-dd'T'HH:mm:ss.SSSxxx";

std::set<std::string> noticeNames() {
  std::set<std::string> names{KVThemeDidChangeNotification, SensorControllerDidFailNotification};
  for (const KVSetting& setting : allSettings()) {
    if (!setting.notification.empty()) {
      names.emplace(setting.notification);
    }
  }
  return names;
}

Json jsonNotice(const platform::Notification& notice) {
  const auto now = std::chrono::system_clock::now();
  return {{"time", KVExtension::dateFormatter().stringFromDate(now, kMoment)},
          {"name", notice.name},
          {"object", notice.object ? Json(*notice.object) : Json(nullptr)},
          {"userInfo", notice.userInfo ? jsonValue(*notice.userInfo) : Json(nullptr)}};
}

std::string lineOf(const platform::Notification& notice, const Options& options) {
  const Json json = jsonNotice(notice);
  if (options.json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  }
  const std::string object = notice.object ? "  " + printable(*notice.object) : "";
  const std::string userInfo = notice.userInfo ? "  " + settingText(*notice.userInfo) : "";
  return json["time"].get<std::string>() + "  " + notice.name + object + userInfo + "\n";
}

/// Hears every notice while it stands.
class NoticeObservation {
 public:
  NoticeObservation(platform::NotificationCentre& centre,
                    const std::function<void(const platform::Notification&)>& handler)
      : centre_(centre) {
    for (const std::string& name : noticeNames()) {
      tokens_.push_back(centre_.addObserver(name, platform::SuspensionBehavior::kDefault, handler));
    }
  }
  ~NoticeObservation() {
    for (const platform::ObserverToken token : tokens_) {
      centre_.removeObserver(token);
    }
  }
  NoticeObservation(const NoticeObservation&) = delete;
  NoticeObservation& operator=(const NoticeObservation&) = delete;

 private:
  platform::NotificationCentre& centre_;
  std::vector<platform::ObserverToken> tokens_;
};

}  // namespace

int runSettingsWatch(const Options& options, StandardOutput& output) {
  StopSignal stop;
  platform::NotificationCentres& centres = Platform::current().notificationCentres();
  if (!centres.reachesOtherProcesses()) {
    throw CommandError(
        kExitNothingRead,
        "no session bus: no other program can be heard ('kelvora doctor' says more)");
  }
  const NoticeObservation observation(
      centres.distributed(),
      [&](const platform::Notification& notice) { writeText(output, lineOf(notice, options)); });
  log("kelvora: watching the settings; an interrupt (Ctrl-C) ends it");
  while (stop.waitUntilReadable(KVMainQueue::descriptor())) {
    KVMainQueue::runPending();
  }
  return kExitSuccess;
}

}  // namespace kelvora::tool
