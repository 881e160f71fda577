#include "KelvoraCore/Platform.h"

#include <mutex>
#include <stdexcept>
#include <utility>

#include "ports/Ports.h"

namespace kelvora {

namespace {

// The platform is never destroyed: objects that live for the process use it until the very end.
struct Current {
  std::mutex mutex;
  Platform* platform = nullptr;
};

Current& currentPlatform() {
  static auto* const current = new Current();
  return *current;
}

bool hasSMC(platform::SMCUserClient& smc) {
  platform::IOObject iterator = 0;
  if (smc.matchingServices("AppleSMC", iterator) != platform::kKernelSuccess) {
    return false;
  }
  const platform::IOObject service = smc.nextService(iterator);
  smc.release(iterator);
  if (service != 0) {
    smc.release(service);
  }
  return service != 0;
}

bool hasHIDTemperatures(platform::HIDEventSystem& hid) {
  const auto client = hid.createClient();
  if (client == nullptr) {
    return false;
  }
  client->setMatching({{"PrimaryUsagePage", 0xff00}, {"PrimaryUsage", 5}});
  const auto services = client->copyServices();
  return services.has_value() && !services->empty();
}

}  // namespace

const char* architectureName(Architecture architecture) {
  return architecture == Architecture::kAppleSilicon ? "arm64" : "x86_64";
}

Platform::Platform(PlatformIdentity identity, platform::Ports ports)
    : identity_(std::move(identity)), ports_(std::make_unique<platform::Ports>(std::move(ports))) {}

Platform::~Platform() = default;

Platform& Platform::current() {
  Current& current = currentPlatform();
  const std::lock_guard lock(current.mutex);
  if (current.platform == nullptr) {
    current.platform = initial().release();
  }
  return *current.platform;
}

void Platform::install(std::unique_ptr<Platform> platform) {
  Current& current = currentPlatform();
  const std::lock_guard lock(current.mutex);
  if (current.platform != nullptr) {
    throw std::logic_error("Platform::install: a platform is in use already");
  }
  current.platform = platform.release();
}

bool Platform::isCurrent() const {
  Current& current = currentPlatform();
  const std::lock_guard lock(current.mutex);
  return current.platform == this;
}

bool Platform::hasSensorHardware() const { return hasSMC(smc()) || hasHIDTemperatures(hid()); }

platform::SMCUserClient& Platform::smc() const { return *ports_->smc; }
platform::HIDEventSystem& Platform::hid() const { return *ports_->hid; }
platform::IORegistry& Platform::registry() const { return *ports_->registry; }
platform::SystemControls& Platform::systemControls() const { return *ports_->systemControls; }
platform::HostStatistics& Platform::hostStatistics() const { return *ports_->hostStatistics; }
platform::SystemFacts& Platform::systemFacts() const { return *ports_->systemFacts; }
platform::ChildProcesses& Platform::childProcesses() const { return *ports_->childProcesses; }
platform::Workspace& Platform::workspace() const { return *ports_->workspace; }
platform::Authorization& Platform::authorization() const { return *ports_->authorization; }
platform::Files& Platform::files() const { return *ports_->files; }
platform::MainBundle& Platform::mainBundle() const { return *ports_->mainBundle; }
platform::UserDefaults& Platform::userDefaults() const { return *ports_->userDefaults; }
platform::NotificationCentres& Platform::notificationCentres() const {
  return *ports_->notificationCentres;
}
platform::MainQueue& Platform::mainQueue() const { return *ports_->mainQueue; }

}  // namespace kelvora
