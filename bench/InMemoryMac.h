#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "KelvoraCore/SMC.h"
#include "KelvoraCore/ZDSystemDevice.h"

#include "platforms/recorded/RecordedSMC.h"
#include "ports/Ports.h"

namespace kelvora::bench {

/// The keys of an Intel Mac with two fans and `sensorKeys` plausible sensors: first those of the
/// catalogue, with eight sensors for each pattern, then unknown ones. Two Macs of different size
/// begin with the same keys.
std::vector<platform::RecordedSMCKey> smcKeys(std::size_t sensorKeys);

/// The process's platform, an Intel Mac whose SMC can be exchanged, and its inventory.
Platform& currentPlatform();
const ZDSystemDevice& device();

/// Makes `smc` the SMC of the process. Nothing that uses the previous one may be left.
platform::SMCUserClient& installSMC(std::unique_ptr<platform::SMCUserClient> smc);

/// A call that the library made, and the type of the key it is about.
struct Call {
  SMCParamRecord request;
  std::uint32_t dataType = 0;
};

/// The calls of a reading that is not the first one, on a Mac with `sensorKeys` sensors.
std::vector<Call> callsOfAReading(std::size_t sensorKeys);

}  // namespace kelvora::bench
