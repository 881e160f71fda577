#include "platforms/linux/bus/LinuxNotificationCentres.h"

#include <utility>

namespace kelvora::platform {

LinuxNotificationCentres::LinuxNotificationCentres(MainQueue& mainQueue,
                                                   std::shared_ptr<DesktopColourScheme> scheme)
    : distributed_(mainQueue, std::move(scheme)) {}

bool LinuxNotificationCentres::reachesOtherProcesses() const { return distributed_.isConnected(); }

}  // namespace kelvora::platform
