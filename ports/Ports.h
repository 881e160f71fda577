#pragma once

#include <memory>

#include "KelvoraCore/Platform.h"

#include "ports/Authorization.h"
#include "ports/ChildProcesses.h"
#include "ports/Files.h"
#include "ports/HIDEventSystem.h"
#include "ports/HostStatistics.h"
#include "ports/IORegistry.h"
#include "ports/MainBundle.h"
#include "ports/MainQueue.h"
#include "ports/NotificationCentres.h"
#include "ports/SMCUserClient.h"
#include "ports/SystemControls.h"
#include "ports/SystemFacts.h"
#include "ports/UserDefaults.h"
#include "ports/Workspace.h"

namespace kelvora::platform {

/// One implementation of every port. A test replaces one member by a double that forwards to it.
struct Ports {
  std::unique_ptr<SMCUserClient> smc;
  std::unique_ptr<HIDEventSystem> hid;
  std::unique_ptr<IORegistry> registry;
  std::unique_ptr<SystemControls> systemControls;
  std::unique_ptr<HostStatistics> hostStatistics;
  std::unique_ptr<SystemFacts> systemFacts;
  std::unique_ptr<ChildProcesses> childProcesses;
  std::unique_ptr<Workspace> workspace;
  std::unique_ptr<Authorization> authorization;
  std::unique_ptr<Files> files;
  std::unique_ptr<MainBundle> mainBundle;
  std::unique_ptr<UserDefaults> userDefaults;
  std::unique_ptr<MainQueue> mainQueue;  // outlives the centres, which deliver on it
  std::unique_ptr<NotificationCentres> notificationCentres;
};

}  // namespace kelvora::platform
