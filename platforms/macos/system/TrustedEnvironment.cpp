#include "platforms/shared/TrustedEnvironment.h"

#include <cstdlib>

#include <unistd.h>

namespace kelvora::platform {

std::optional<std::string> trustedEnvironmentText(const char* name) {
  const char* text = issetugid() != 0 ? nullptr : std::getenv(name);
  return text == nullptr ? std::nullopt : std::optional<std::string>(text);
}

}  // namespace kelvora::platform
