#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "KelvoraCore/ZDModelInfo.h"

namespace kelvora {

class Platform;

namespace platform {
class SystemControls;
}

/// "MacBookPro18,1"; empty when the system has none.
std::string queryModelIdentifier(platform::SystemControls& controls);

/// The catalogue's record of the machine, or one made from its hardware report and dated with the
/// current year: a model that the catalogue does not know is taken to be a new one.
ZDModelInfo queryModel(Platform& platform);

/// Whether the machine takes fan speeds as models of 2018 and later do
/// (`ZDModelInfo::isT2ChipSupport`). Asks for the hardware report, which takes a second, only if
/// the catalogue does not know the model.
bool queryT2ChipSupport(Platform& platform);

/// The family that a model identifier begins with: "MacBookPro99,1" gives 2; 0 for "Mac99,1".
std::int64_t familyOfIdentifier(std::string_view identifier);

}  // namespace kelvora
