#include "platforms/linux/bus/LinuxNotificationCentres.h"

#include <utility>

namespace kelvora::platform {

LinuxNotificationCentres::LinuxNotificationCentres(MainQueue& mainQueue,
                                                   std::shared_ptr<DesktopColourScheme> scheme)
    : distributed_(mainQueue, std::move(scheme), [this](bool isConnected) {
        inProcess_.post({KVNotificationReachDidChangeNotification, std::nullopt,
                         PropertyListValue::Dictionary{{KVReachesOtherProgramsKey, isConnected}}},
                        true);
      }) {}

bool LinuxNotificationCentres::reachesOtherProcesses() const { return distributed_.isConnected(); }

}  // namespace kelvora::platform
