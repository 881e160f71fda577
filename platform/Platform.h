#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "platform/Authorization.h"
#include "platform/ChildProcesses.h"
#include "platform/Files.h"
#include "platform/HIDEventSystem.h"
#include "platform/HostStatistics.h"
#include "platform/IORegistry.h"
#include "platform/MainBundle.h"
#include "platform/MainQueue.h"
#include "platform/NotificationCentres.h"
#include "platform/SMCUserClient.h"
#include "platform/SystemControls.h"
#include "platform/SystemFacts.h"
#include "platform/UserDefaults.h"
#include "platform/Workspace.h"

namespace kelvora::platform {

/// Which of the library's two builds a machine is for.
enum class Architecture : std::uint8_t { kIntel, kAppleSilicon };

/// The field's name of an architecture: "x86_64" or "arm64".
const char* architectureName(Architecture architecture);

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

/// What a platform says of itself.
struct PlatformIdentity {
  std::string title;  ///< shown with every reading, e.g. "MacBook Pro 15-inch 2018"
  bool isLive = false;
  Architecture architecture = Architecture::kIntel;
};

/// The machine the library works on: a live one or a recorded one. The process has one current
/// platform, the live one unless another is installed before the first use. Whatever takes a
/// platform or a port keeps a reference: both outlive it.
class Platform {
 public:
  /// Every member of `ports` is set.
  Platform(PlatformIdentity identity, Ports ports);

  /// The process's platform. Any thread.
  static Platform& current() {
    // Inline: the SMC asks with every call.
    Platform* const platform = current_.load(std::memory_order_acquire);
    return platform != nullptr ? *platform : makeCurrent();
  }
  /// Makes `platform` the current one. Throws std::logic_error once a platform is current.
  static void install(std::unique_ptr<Platform> platform);

  const std::string& title() const { return identity_.title; }
  bool isLive() const { return identity_.isLive; }
  Architecture architecture() const { return identity_.architecture; }

  SMCUserClient& smc() const { return *ports_.smc; }
  HIDEventSystem& hid() const { return *ports_.hid; }
  IORegistry& registry() const { return *ports_.registry; }
  SystemControls& systemControls() const { return *ports_.systemControls; }
  HostStatistics& hostStatistics() const { return *ports_.hostStatistics; }
  SystemFacts& systemFacts() const { return *ports_.systemFacts; }
  ChildProcesses& childProcesses() const { return *ports_.childProcesses; }
  Workspace& workspace() const { return *ports_.workspace; }
  Authorization& authorization() const { return *ports_.authorization; }
  Files& files() const { return *ports_.files; }
  MainBundle& mainBundle() const { return *ports_.mainBundle; }
  UserDefaults& userDefaults() const { return *ports_.userDefaults; }
  NotificationCentres& notificationCentres() const { return *ports_.notificationCentres; }
  MainQueue& mainQueue() const { return *ports_.mainQueue; }

  /// The ports themselves, for wrapping one before the platform is used.
  Ports& ports() { return ports_; }

 private:
  static Platform& makeCurrent();

  static std::atomic<Platform*> current_;

  PlatformIdentity identity_;
  Ports ports_;
};

/// The platform of the system this library was built for. Never null.
std::unique_ptr<Platform> makeLivePlatform();

}  // namespace kelvora::platform
