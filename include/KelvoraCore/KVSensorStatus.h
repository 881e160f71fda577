#pragma once

#include <cstdint>

namespace kelvora {

/// The health of a stored sensor by its last value. Programs compare and store these numbers: never
/// renumber them. A number outside the table is representable.
enum KVSensorStatus : std::int32_t {
  KVSensorStatusNone = 0,  ///< no status, e.g. a custom sensor that reads 0
  KVSensorStatusNormalTemperature = 1,
  KVSensorStatusHighTemperature = 2,
  KVSensorStatusVeryHighTemperature = 3,
  KVSensorStatusFanStopped = 4,
  KVSensorStatusNormalSpeed = 5,
  KVSensorStatusHighSpeed = 6,
  KVSensorStatusVeryHighSpeed = 7,
  KVSensorStatusOK = 8,

  // Codes that an SMC reports instead of a temperature. -127 is 9 and -128 is 10: not in the order
  // of the readings.
  KVSensorStatusSkipped = 9,                   ///< reading -127
  KVSensorStatusTemperatureCannotBeRead = 10,  ///< reading -128
  KVSensorStatusFailedToInitialize = 11,       ///< reading -126
  KVSensorStatusBelowAllowedMinimum = 12,      ///< reading -125
  KVSensorStatusUnstableTemperature = 13,      ///< reading -124

  KVSensorStatusError = 14,
};

}  // namespace kelvora
