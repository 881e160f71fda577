#include "platform/Platform.h"

#include <atomic>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace kelvora::platform {

namespace {

std::mutex& currentMutex() {
  static std::mutex mutex;
  return mutex;
}

// Never destroyed: objects that live for the process use it until the very end. The mutex guards
// its creation; the SMC asks for it with every call, so that looking it up takes no lock.
constinit std::atomic<Platform*> currentPlatform{nullptr};

}  // namespace

const char* architectureName(Architecture architecture) {
  return architecture == Architecture::kAppleSilicon ? "arm64" : "x86_64";
}

Platform::Platform(PlatformIdentity identity, Ports ports)
    : identity_(std::move(identity)), ports_(std::move(ports)) {}

Platform& Platform::current() {
  Platform* platform = currentPlatform.load(std::memory_order_acquire);
  if (platform == nullptr) {
    const std::lock_guard lock(currentMutex());
    platform = currentPlatform.load(std::memory_order_relaxed);
    if (platform == nullptr) {
      platform = makeLivePlatform().release();
      currentPlatform.store(platform, std::memory_order_release);
    }
  }
  return *platform;
}

void Platform::install(std::unique_ptr<Platform> platform) {
  const std::lock_guard lock(currentMutex());
  if (currentPlatform.load(std::memory_order_relaxed) != nullptr) {
    throw std::logic_error("Platform::install: a platform is in use already");
  }
  currentPlatform.store(platform.release(), std::memory_order_release);
}

}  // namespace kelvora::platform
