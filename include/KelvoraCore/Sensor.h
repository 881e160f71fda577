#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"

namespace kelvora {

// The four codes below are stored and travel between programs: never renumber them. A field holds
// them as a plain number, so that a value outside the table is representable.

/// What a sensor measures; decides the unit of its value.
enum SensorType : std::uint64_t {
  SensorTypeTemperature = 0,  ///< degrees Celsius
  SensorTypeFan = 1,          ///< revolutions per minute
  SensorTypeVoltage = 2,      ///< volts
  SensorTypeCurrent = 3,      ///< amperes
  SensorTypePower = 4,        ///< watts
};

/// Where a sensor is listed and sorted.
enum SensorGroup : std::uint64_t {
  SensorGroupNone = 0,         ///< keys that no catalogue entry names; sorted last
  SensorGroupCPU = 1,          ///< processor, its cores, rails and package
  SensorGroupGPU = 2,          ///< graphics processors
  SensorGroupMemory = 3,       ///< memory banks, modules and rails
  SensorGroupMainboard = 4,    ///< chipset, rails, slots, thermal zones, system-on-chip dies
  SensorGroupAirflow = 5,      ///< airflow and wireless-module sensors
  SensorGroupStorage = 6,      ///< solid-state drives and flash storage
  SensorGroupDriveBay = 7,     ///< hard-disk bays and the optical drive
  SensorGroupBattery = 8,      ///< battery and charger
  SensorGroupPowerSupply = 9,  ///< power supply, DC input and power-management dies
  SensorGroupDisplay = 10,     ///< display proximity
  SensorGroupFan = 11,         ///< fans
};

/// Processor families as bits: a sensor carries a mask of them, a machine exactly one, or 0 when
/// its family is unknown.
enum SensorPlatform : std::uint64_t {
  SensorPlatformIntel = 1,
  SensorPlatformM1 = 2,
  SensorPlatformM1Pro = 4,
  SensorPlatformM1Max = 8,
  SensorPlatformM1Ultra = 16,
  SensorPlatformM2 = 32,
  SensorPlatformM2Pro = 64,
  SensorPlatformM2Max = 128,
  SensorPlatformM2Ultra = 256,
};

/// The mask of a sensor that may exist on every family.
inline constexpr std::uint64_t SensorPlatformEvery = 511;

/// Where a sensor's value comes from.
enum SensorSourceType : std::uint64_t {
  SensorSourceSMC = 0,
  SensorSourceHID = 1,
  SensorSourceComputed = 2,
};

struct Sensor;

/// Sensors are records with identity: a list may hold the same record twice.
using SensorPtr = std::shared_ptr<Sensor>;
using SensorList = std::vector<SensorPtr>;

/// One sensor and its latest reading, or one entry of the catalogue (without a value). The caller
/// that gets a record from a reader owns it. A record has no lock: one thread at a time.
struct KELVORA_EXPORT Sensor {
  /// An SMC key ("TC0P"), a fan index ("0"), a HID product name ("gas gauge battery"), a computed
  /// key ("AverageCPU") or, in the catalogue, a key pattern ("TC%C").
  std::string key;
  std::string name;                            ///< short display name: "CPU Proximity"
  std::string fullName;                        ///< long display name
  double value = 0;                            ///< in the unit of the type
  double minLimitValue = 0;                    ///< for fans the safe minimum speed
  double maxLimitValue = 0;                    ///< for fans the safe maximum speed
  std::uint64_t type = SensorTypeTemperature;  ///< a SensorType
  std::uint64_t group = SensorGroupNone;       ///< a SensorGroup
  std::uint64_t platform = 0;                  ///< a mask of SensorPlatform bits
  std::uint64_t sourceType = SensorSourceSMC;  ///< a SensorSourceType
  bool average = false;  ///< an input of its group's average and hottest value

  // The factories return a new record that the caller owns. Any thread.

  /// A record of exactly these fields.
  static SensorPtr instanceWithKey(std::string key, std::string name, std::string fullName,
                                   double value, double minLimitValue, double maxLimitValue,
                                   std::uint64_t type, std::uint64_t group, std::uint64_t platform,
                                   std::uint64_t sourceType, bool average);
  /// A catalogue entry for an SMC key: the full name is the name, value and limits are 0.
  static SensorPtr instanceWithKey(std::string key, std::string name, std::uint64_t type,
                                   std::uint64_t group, std::uint64_t platform,
                                   bool average = false);
  /// A catalogue entry for a HID product: as above, with the HID source type.
  static SensorPtr hidSensorWithKey(std::string key, std::string name, std::uint64_t type,
                                    std::uint64_t group, std::uint64_t platform, bool average);

  /// Whether the value is plausible for the type. A temperature must be above the lower limit and
  /// at most the upper limit, a voltage other than 0 and at most 300, a current above 0 and at most
  /// 100, a power above 0. Every fan speed is plausible. A value that is not a number is plausible
  /// for the types 0 to 4, and no value is for any other type.
  bool isValidValue() const;
};

}  // namespace kelvora
