#include "platforms/shared/TrustedEnvironment.h"

#include <cstdlib>

#include <unistd.h>

namespace kelvora::platform {

std::optional<std::string> trustedEnvironmentText(const char* name) {
  const char* text = hasRaisedRights() ? nullptr : std::getenv(name);
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

bool hasRaisedRights() { return issetugid() != 0; }

}  // namespace kelvora::platform
