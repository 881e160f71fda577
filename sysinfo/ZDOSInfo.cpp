#include "KelvoraCore/ZDOSInfo.h"

#include <optional>

namespace kelvora {

namespace {

struct Release {
  std::int64_t major;
  std::optional<std::int64_t> minor;  // none: any
  const char* name;
};

// Ends at 13 on purpose: later releases show "Unknown".
constexpr Release kReleases[] = {
    {10, 13, "High Sierra"},        {10, 14, "Mojave"},
    {10, 15, "Catalina"},           {11, std::nullopt, "Big Sur"},
    {12, std::nullopt, "Monterey"}, {13, std::nullopt, "Ventura"},
};

}  // namespace

std::string ZDOSInfo::versionString() const {
  return std::to_string(version.major) + '.' + std::to_string(version.minor) + '.' +
         std::to_string(version.patch);
}

std::string ZDOSInfo::name() const {
  if (system != "macOS") {
    return system;
  }
  for (const Release& release : kReleases) {
    if (version.major == release.major && version.minor == release.minor.value_or(version.minor)) {
      return release.name;
    }
  }
  return "Unknown";
}

}  // namespace kelvora
