#include "base/SystemLocale.h"

namespace kelvora {

std::string systemLocale() { return ""; }

}  // namespace kelvora
