#include "tools/kelvora/FanReader.h"

#include <algorithm>
#include <utility>

#include "tools/kelvora/FanSpeeds.h"

namespace kelvora::tool {

namespace {

constexpr double kMostFans = 20;

}  // namespace

FanReader::FanReader(Platform& platform) : controller_(platform) {
  controller_.smc().setDelegate({});
}

std::vector<FanState> FanReader::read(const std::vector<KVLeasedFan>& leases) {
  const double claimed = controller_.smc().rawValueByKey("FNum").value_or(0);
  const auto count = static_cast<std::uint64_t>(std::clamp(claimed, 0.0, kMostFans));
  std::vector<FanState> fans;
  for (std::uint64_t fan = 0; fan < count; ++fan) {
    fans.push_back(read(fan, leases));
  }
  return fans;
}

FanState FanReader::read(std::uint64_t fan, const std::vector<KVLeasedFan>& leases) {
  SMCWrapper& smc = controller_.smc();
  const std::string key = fanSetKey(fan);
  FanState state{fan,
                 smc.descriptionOfFan(static_cast<std::int64_t>(fan)),
                 smc.rawValueByKey(key + "Ac"),
                 smc.rawValueByKey(key + "Mn"),
                 smc.rawValueByKey(key + "Mx"),
                 smc.rawValueByKey(key + "Tg"),
                 {},
                 {},
                 {}};
  if (const auto mode = controller_.hasFanModes() ? smc.rawValueByKey(key + "Md") : std::nullopt) {
    state.isFixed = *mode != 0;
  }
  const auto lease = std::ranges::find(leases, fan, &KVLeasedFan::fan);
  if (lease != leases.end()) {
    state.lease = *lease;
    if (lease->minimum) {
      state.raisedTo = std::exchange(state.minimum, lease->minimum);
    }
  }
  return state;
}

}  // namespace kelvora::tool
