#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "KelvoraCore/SMCRecords.h"

#include "ports/Ports.h"

namespace kelvora::bench {

/// An Intel Mac in memory with two fans and `sensorKeys` plausible sensors: first those of the
/// catalogue, with eight sensors for each pattern, then unknown ones. Two Macs of different size
/// begin with the same keys.
std::unique_ptr<Platform> macInMemory(std::size_t sensorKeys);

/// The requests of a reading that is not the first one, on such a Mac.
std::vector<SMCParamRecord> callsOfAReading(std::size_t sensorKeys);

}  // namespace kelvora::bench
