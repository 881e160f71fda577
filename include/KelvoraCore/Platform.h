#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "KelvoraCore/Export.h"

namespace kelvora {

namespace platform {
class Authorization;
class ChildProcesses;
class Files;
class HIDEventSystem;
class HostStatistics;
class IORegistry;
class MainBundle;
class MainQueue;
class NotificationCentres;
class SMCUserClient;
class SystemControls;
class SystemFacts;
class UserDefaults;
class Workspace;
struct Ports;
}  // namespace platform

/// Which of the library's two builds a machine is for.
enum class Architecture : std::uint8_t { kIntel, kAppleSilicon };

/// The field's name of an architecture: "x86_64" or "arm64". Any thread.
KELVORA_EXPORT const char* architectureName(Architecture architecture);

/// What a platform says of itself.
struct KELVORA_EXPORT PlatformIdentity {
  std::string title;  ///< shown with every reading, e.g. "MacBook Pro 15-inch 2018"
  bool isLive = false;
  Architecture architecture = Architecture::kIntel;
};

/// The machine that the library works on: this computer or a recorded Mac. The process has one
/// current platform, the live one unless another is installed before the first use. A class that
/// takes a platform keeps a reference, so the platform must outlive its objects. Any thread.
class KELVORA_EXPORT Platform {
 public:
  /// This computer: the system that the library was built for. Never null.
  static std::unique_ptr<Platform> live();

  /// The process's platform, created on first use and never destroyed.
  static Platform& current();
  /// Makes `platform` the current one. Throws std::logic_error once a platform is current.
  static void install(std::unique_ptr<Platform> platform);
  /// Whether this is the process's current platform. Creates none.
  bool isCurrent() const;

  /// A platform of the library's own ports; every member of `ports` is set.
  Platform(PlatformIdentity identity, platform::Ports ports);
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  /// Shown with every reading, e.g. "MacBook Pro 15-inch 2018". UTF-8.
  const std::string& title() const { return identity_.title; }
  /// Whether readings come from this computer's hardware, not from a recording.
  bool isLive() const { return identity_.isLive; }
  Architecture architecture() const { return identity_.architecture; }

  // The ports, one for each capability of the system, for the library's own classes. Their
  // interfaces are not installed.

  platform::SMCUserClient& smc() const;
  platform::HIDEventSystem& hid() const;
  platform::IORegistry& registry() const;
  platform::SystemControls& systemControls() const;
  platform::HostStatistics& hostStatistics() const;
  platform::SystemFacts& systemFacts() const;
  platform::ChildProcesses& childProcesses() const;
  platform::Workspace& workspace() const;
  platform::Authorization& authorization() const;
  platform::Files& files() const;
  platform::MainBundle& mainBundle() const;
  platform::UserDefaults& userDefaults() const;
  platform::NotificationCentres& notificationCentres() const;
  platform::MainQueue& mainQueue() const;
  /// The ports themselves, for replacing one before the platform is used.
  platform::Ports& ports() { return *ports_; }

 private:
  PlatformIdentity identity_;
  std::unique_ptr<platform::Ports> ports_;
};

}  // namespace kelvora
