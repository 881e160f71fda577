#pragma once

#include <cstdint>
#include <string_view>

#include "KelvoraCore/ZDModelInfo.h"

namespace kelvora {

namespace platform {
class Platform;
}

/// The catalogue's record of the machine, or one made from its hardware report and dated with the
/// current year: a model that the catalogue does not know is taken to be a new one.
ZDModelInfo queryModel(platform::Platform& platform);

/// The family that a model identifier begins with: "MacBookPro99,1" gives 2; 0 for "Mac99,1".
std::int64_t familyOfIdentifier(std::string_view identifier);

}  // namespace kelvora
