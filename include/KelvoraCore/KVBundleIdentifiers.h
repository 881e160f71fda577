#pragma once

namespace kelvora {

// Bundle identifiers of the product's programs. Fixed by the deployment.
inline constexpr char kMainAppBundleIdentifier[] = "com.kelvora.Kelvora";
inline constexpr char kMenuAppBundleIdentifier[] = "com.kelvora.KelvoraMenu";
inline constexpr char kHelperAppBundleIdentifier[] = "com.kelvora.KelvoraHelper";

}  // namespace kelvora
