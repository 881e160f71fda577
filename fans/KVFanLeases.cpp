#include "KelvoraCore/KVFanLeases.h"

#include <optional>
#include <utility>

#include "fans/LeasedFan.h"
#include "hardware/FanKeys.h"

namespace kelvora {

namespace {

template <typename Look>
std::vector<KVLeasedFan> ofEveryFan(Look look) {
  std::vector<KVLeasedFan> fans;
  for (std::uint64_t fan = 0; fan < kFanCharacters.size(); ++fan) {
    if (auto leased = look(fan)) {
      fans.push_back(*std::move(leased));
    }
  }
  return fans;
}

}  // namespace

std::vector<KVLeasedFan> KVFanLeases::leasedFans(Platform& platform) {
  return ofEveryFan([&](std::uint64_t fan) { return leasedFan(platform, fan); });
}

std::vector<KVLeasedFan> KVFanLeases::handBackLeftBehind(Platform& platform) {
  return ofEveryFan([&](std::uint64_t fan) { return kelvora::handBackLeftBehind(platform, fan); });
}

}  // namespace kelvora
