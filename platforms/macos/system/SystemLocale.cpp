#include "base/SystemLocale.h"

#include "platforms/macos/cocoa/HostFacts.h"

namespace kelvora {

std::string systemLocale() { return platform::cocoa::localeIdentifier(); }

}  // namespace kelvora
