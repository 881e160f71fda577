#pragma once

#include <string>

namespace kelvora {

/// The locale that the user has chosen in the system's own settings, e.g. "de_DE"; empty where
/// there is only the environment. A binary contains one implementation.
std::string systemLocale();

}  // namespace kelvora
