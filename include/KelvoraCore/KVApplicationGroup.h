#pragma once

namespace kelvora {

/// The name of what the programs of the product share: the folder of the store file and the suite
/// of the settings. Fixed by the deployment; every program of one installation uses the same value.
inline constexpr const char* kApplicationGroupIdentifier = "group.com.kelvora";

}  // namespace kelvora
