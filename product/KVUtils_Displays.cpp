#include <algorithm>

#include "KelvoraCore/KVUtils.h"

#include "ports/Ports.h"

namespace kelvora {

bool KVUtils::isExternalDisplayConnected(Platform& platform) {
  const auto displays = platform.systemFacts().activeDisplays();
  return std::any_of(displays.begin(), displays.end(),
                     [](const platform::Display& display) { return !display.builtIn; });
}

std::int64_t KVUtils::numOfDisplays(Platform& platform) {
  return static_cast<std::int64_t>(platform.systemFacts().activeDisplays().size());
}

}  // namespace kelvora
