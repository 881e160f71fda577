#include "platforms/shared/TrustedEnvironment.h"

#include <cstdlib>

namespace kelvora::platform {

std::optional<std::string> trustedEnvironmentText(const char* name) {
  const char* text = secure_getenv(name);
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

}  // namespace kelvora::platform
