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

}  // namespace

// Never destroyed: objects that live for the process use it until the very end. The mutex guards
// its creation only.
constinit std::atomic<Platform*> Platform::current_{nullptr};

const char* architectureName(Architecture architecture) {
  return architecture == Architecture::kAppleSilicon ? "arm64" : "x86_64";
}

Platform::Platform(PlatformIdentity identity, Ports ports)
    : identity_(std::move(identity)), ports_(std::move(ports)) {}

Platform& Platform::makeCurrent() {
  const std::lock_guard lock(currentMutex());
  Platform* platform = current_.load(std::memory_order_relaxed);
  if (platform == nullptr) {
    platform = makeLivePlatform().release();
    current_.store(platform, std::memory_order_release);
  }
  return *platform;
}

void Platform::install(std::unique_ptr<Platform> platform) {
  const std::lock_guard lock(currentMutex());
  if (current_.load(std::memory_order_relaxed) != nullptr) {
    throw std::logic_error("Platform::install: a platform is in use already");
  }
  current_.store(platform.release(), std::memory_order_release);
}

}  // namespace kelvora::platform
