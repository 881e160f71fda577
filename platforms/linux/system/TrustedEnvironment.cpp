#include "platforms/shared/TrustedEnvironment.h"

#include <cstdlib>

#include <sys/auxv.h>

namespace kelvora::platform {

std::optional<std::string> trustedEnvironmentText(const char* name) {
  const char* text = secure_getenv(name);
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

bool hasRaisedRights() { return getauxval(AT_SECURE) != 0; }

}  // namespace kelvora::platform
