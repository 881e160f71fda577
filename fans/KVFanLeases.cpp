#include "KelvoraCore/KVFanLeases.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "fans/LeaseRecord.h"
#include "fans/LeasedFan.h"
#include "fans/ToolWrites.h"
#include "hardware/FanKeys.h"
#include "sysinfo/ModelQuery.h"

namespace kelvora {

namespace {

constexpr const char* kNoSuchFan = "the machine has no such fan";

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

std::vector<KVFanHandBack> KVFanLeases::handBack(const std::vector<std::uint64_t>& fans,
                                                 std::chrono::milliseconds limit,
                                                 Platform& platform) {
  const FanScheme scheme =
      queryT2ChipSupport(platform) ? FanScheme::kModeAndTarget : FanScheme::kMinimum;
  std::vector<KVFanHandBack> results;
  std::vector<ToolWrites::HandBack> handBacks;
  std::vector<std::size_t> places;
  for (const std::uint64_t fan : fans) {
    const FanHandBack handBack = fan < kFanCharacters.size() ? handBackOfFan(platform, fan, scheme)
                                                             : FanHandBack{{}, kNoSuchFan};
    if (handBack.write) {
      handBacks.push_back({*handBack.write});
      places.push_back(results.size());
    }
    results.push_back({fan, false, handBack.fault});
  }
  ToolWrites(platform, std::min(limit, kLongestTimeout)).handBack(handBacks);
  for (std::size_t i = 0; i < handBacks.size(); ++i) {
    results[places[i]].isWritten = handBacks[i].isWritten;
    results[places[i]].fault = handBacks[i].fault;
  }
  return results;
}

}  // namespace kelvora
