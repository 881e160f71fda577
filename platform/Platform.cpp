#include "platform/Platform.h"

#include <mutex>
#include <stdexcept>
#include <utility>

namespace kelvora::platform {

namespace {

std::mutex& currentMutex() {
  static std::mutex mutex;
  return mutex;
}

// Never destroyed: objects that live for the process use it until the very end.
Platform*& currentPlatform() {
  static Platform* platform = nullptr;
  return platform;
}

}  // namespace

const char* architectureName(Architecture architecture) {
  return architecture == Architecture::kAppleSilicon ? "arm64" : "x86_64";
}

Platform::Platform(PlatformIdentity identity, Ports ports)
    : identity_(std::move(identity)), ports_(std::move(ports)) {}

Platform& Platform::current() {
  const std::lock_guard lock(currentMutex());
  if (currentPlatform() == nullptr) {
    currentPlatform() = makeLivePlatform().release();
  }
  return *currentPlatform();
}

void Platform::install(std::unique_ptr<Platform> platform) {
  const std::lock_guard lock(currentMutex());
  if (currentPlatform() != nullptr) {
    throw std::logic_error("Platform::install: a platform is in use already");
  }
  currentPlatform() = platform.release();
}

}  // namespace kelvora::platform
