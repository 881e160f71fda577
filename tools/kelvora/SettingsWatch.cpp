#include <chrono>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/KVThemeManager.h"
#include "KelvoraCore/NotificationObserver.h"
#include "KelvoraCore/SensorController.h"
#include "KelvoraCore/StopSignal.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/OrNull.h"
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

Json jsonNotice(const Notification& notice) {
  const auto now = std::chrono::system_clock::now();
  return {{"time", KVExtension::dateFormatter().stringFromDate(now, kMoment)},
          {"name", notice.name},
          {"object", orNull(notice.object)},
          {"userInfo", notice.userInfo ? jsonValue(*notice.userInfo) : Json(nullptr)}};
}

void writeNotice(StandardOutput& output, const Notification& notice, const Options& options) {
  const Json json = jsonNotice(notice);
  if (options.json) {
    writeJsonLine(output, json);
    return;
  }
  const std::string object = notice.object ? "  " + printable(*notice.object) : "";
  const std::string userInfo = notice.userInfo ? "  " + settingText(*notice.userInfo) : "";
  writeText(output,
            json["time"].get<std::string>() + "  " + notice.name + object + userInfo + "\n");
}

std::vector<NotificationObserver> observersOfEveryNotice(
    const NotificationObserver::Handler& handler) {
  std::vector<NotificationObserver> observers;
  for (const std::string& name : noticeNames()) {
    observers.emplace_back(name, handler);
  }
  return observers;
}

int runWatchSettings(const Options& options, StandardOutput& output) {
  StopSignal stop;
  if (!NotificationObserver::reachesOtherPrograms()) {
    throw CommandError(
        kExitNothingRead,
        "no session bus: no other program can be heard ('kelvora doctor' says more)");
  }
  const auto observers = observersOfEveryNotice(
      [&](const Notification& notice) { writeNotice(output, notice, options); });
  say("watching the settings; an interrupt (Ctrl-C) ends it");
  stop.run();
  return kExitSuccess;
}

}  // namespace

std::vector<Command> settingsWatchCommands() {
  return {{.parent = "settings",
           .name = "watch",
           .description = "Print the notices between the programs as they come, until interrupted",
           .example = "kelvora settings watch --json",
           .machine = MachineUse::kEnvironment,
           .run = runWatchSettings}};
}

}  // namespace kelvora::tool
