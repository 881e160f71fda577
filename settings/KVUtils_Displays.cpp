#include <algorithm>

#include "KelvoraCore/KVUtils.h"

#include "platform/Platform.h"

namespace kelvora {

bool KVUtils::isExternalDisplayConnected() {
  return isExternalDisplayConnected(platform::Platform::current());
}

bool KVUtils::isExternalDisplayConnected(platform::Platform& platform) {
  const auto displays = platform.systemFacts().activeDisplays();
  return std::any_of(displays.begin(), displays.end(),
                     [](const platform::Display& display) { return !display.builtIn; });
}

std::int64_t KVUtils::numOfDisplays() { return numOfDisplays(platform::Platform::current()); }

std::int64_t KVUtils::numOfDisplays(platform::Platform& platform) {
  return static_cast<std::int64_t>(platform.systemFacts().activeDisplays().size());
}

}  // namespace kelvora
