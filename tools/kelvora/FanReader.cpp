#include "tools/kelvora/FanReader.h"

#include <algorithm>
#include <utility>

#include "KelvoraCore/SMC.h"
#include "KelvoraCore/SMCText.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/FanSpeeds.h"

namespace kelvora::tool {

namespace {

// An SMC answers for a key that it does not know, with size 0, which would be the number 0.
std::optional<double> valueOf(SMCWrapper& smc, const std::string& key) {
  SMCKeyInfo info{};
  const bool exists = SMCGetKeyInfo(packedKeyFromText(key), &info) == 0 && info.dataSize > 0;
  return exists ? smc.rawValueByKey(key) : std::nullopt;
}

}  // namespace

FanReader::FanReader(Platform& platform) : controller_(platform) {
  controller_.smc().setDelegate({});
}

// Opening the SMC to find out would close the connection that the controller reads through.
bool FanReader::hasSMC() {
  SMCKeyInfo info{};
  return SMCGetKeyInfo(packedKeyFromText("#KEY"), &info) == 0;
}

void FanReader::requireSMC() {
  if (!hasSMC()) {
    throw CommandError(kExitNothingRead,
                       controller_.platform().title() + ": there is no SMC with fans");
  }
}

std::vector<FanState> FanReader::read(const std::vector<KVLeasedFan>& leases) {
  const auto claimed = valueOf(controller_.smc(), "FNum");
  const auto count = static_cast<std::uint64_t>(
      std::clamp(claimed.value_or(kMostFans), 0.0, static_cast<double>(kMostFans)));
  std::vector<FanState> fans;
  for (std::uint64_t fan = 0; fan < count; ++fan) {
    const FanState state = read(fan, leases);
    // Without their number those are fans that have a limit, or that a program has taken.
    if (claimed || state.minimum || state.maximum || state.lease) {
      fans.push_back(state);
    }
  }
  return fans;
}

FanState FanReader::read(std::uint64_t fan, const std::vector<KVLeasedFan>& leases) {
  SMCWrapper& smc = controller_.smc();
  const std::string key = fanSetKey(fan);
  FanState state{fan,
                 smc.descriptionOfFan(static_cast<std::int64_t>(fan)),
                 valueOf(smc, key + "Ac"),
                 valueOf(smc, key + "Mn"),
                 valueOf(smc, key + "Mx"),
                 valueOf(smc, key + "Tg"),
                 {},
                 {},
                 {}};
  if (const auto mode = controller_.hasFanModes() ? valueOf(smc, key + "Md") : std::nullopt) {
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
