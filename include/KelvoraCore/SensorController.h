#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/HIDWrapper.h"
#include "KelvoraCore/SMCWrapper.h"
#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/ZDSystemDevice.h"

namespace kelvora {

class Platform;
class ReadingRecords;
class SensorNaming;

/// The notification by which a controller tells all programs of a failed read; its object is the
/// message, e.g. "SMC read (F0ID) failed".
inline constexpr char SensorControllerDidFailNotification[] = "SensorControllerDidFailNotification";

/// Takes complete readings of the machine: every sensor that the hardware readers see, named from
/// the catalogue, with the computed sensors, in the order of the groups. On Apple silicon it reads
/// the SMC and the HID event system, on Intel the SMC only.
///
/// All operations run on the caller's thread and may block for as long as the hardware takes.
/// Nothing guards concurrent readings of one controller against each other. The catalogue is
/// filtered and filled in once, at creation: another processor family or graphics processor is
/// seen only by a new controller.
class KELVORA_EXPORT SensorController : public SMCWrapperDelegate {
 public:
  /// The process's controller, created on first use and never released. Any thread.
  static SensorController& shared();

  /// The known SMC keys: 201 new records without values, from "TC0P" "CPU Proximity" to "PDTR"
  /// "DC In Total", in the order in which they name sensors. The keys of per-core sensors are
  /// patterns ("TC%C"), and "{GPU}" in a name stands for the dedicated graphics processor.
  static SensorList getDefaultSMCSensors();
  /// The known HID products: 11 new records, from "pACC MTR Temp Sensor%" to "PMU tdie%".
  static SensorList getDefaultHIDSensors();

  /// Opens the SMC of the current platform and takes the machine's family and graphics processors
  /// from `ZDSystemDevice::device()`.
  SensorController();
  /// The same on `platform`, with an inventory of its own.
  explicit SensorController(Platform& platform);
  /// The same with `device`, which outlives the controller.
  SensorController(Platform& platform, const ZDSystemDevice& device);
  ~SensorController() override;
  SensorController(const SensorController&) = delete;
  SensorController& operator=(const SensorController&) = delete;

  SMCWrapper& smc() { return smc_; }
  /// Null on Intel. Owned by the controller.
  HIDWrapper* hid() { return hid_.get(); }
  /// The catalogue of this machine: entries of its processor family, with "{GPU}" filled in. Names,
  /// groups and flags that are changed in an entry show in later readings, keys do not.
  const SensorList& defaultSMCSensors() const { return defaultSMCSensors_; }
  const SensorList& defaultHIDSensors() const { return defaultHIDSensors_; }

  /// Fills both lists from the catalogue; the constructors have called it already.
  void loadDefaultSensors();

  /// One reading: new records that the caller owns, implausible values left out. Sensors of the
  /// catalogue come under its names ("CPU Core 1"), others under their keys in group 0, which is
  /// last. A record stands in the list twice when two entries have its key. Empty when the hardware
  /// cannot be read; each failed read is announced (see `smcReadValueFailedWithError`).
  SensorList getAllSensors();

  /// New records computed from a reading, those that apply of "AverageCPU", "HottestCPU",
  /// "AverageGPU", "HottestGPU" (degrees Celsius, above 0) and "FastestFan" (revolutions per
  /// minute, of at least two fans).
  SensorList buildComputedSensorsInSensors(const SensorList& sensors);

  /// The current value of one sensor in the unit of its type, e.g. 41.5 for ("TC0P", 0, 0, {}).
  /// SMC and HID sensors are read from the hardware, 0 when that fails; computed ones are taken
  /// from `allSensors`: an average or a maximum without inputs is -1. Anything else is 0.
  double getSensorValueByKey(std::string_view key, std::uint64_t type, std::uint64_t sourceType,
                             const SensorList& allSensors);

  /// The English word of a type, "Temperature", "Voltage", "Current" or "Power"; none for fans and
  /// unknown types.
  std::optional<std::string> sensorTypeStringFromType(std::uint64_t type) const;

  /// The model name of the dedicated graphics processor, e.g. "AMD Radeon Pro 560X", when the
  /// machine has exactly two graphics processors, else none. Of two dedicated ones the last.
  std::optional<std::string> dedicatedGPUName() const;
  /// The same for its short name, e.g. "AMD".
  std::optional<std::string> dedicatedGPUShortName() const;

  /// Posts `SensorControllerDidFailNotification` with `message` as its object on the distributed
  /// centre from the main queue, later, to be delivered at once. Any thread; the controller may
  /// be gone by then.
  void smcReadValueFailedWithError(const std::string& message) override;

 private:
  SensorController(Platform& platform, std::shared_ptr<const ZDSystemDevice> device);

  Platform& platform_;
  std::shared_ptr<const ZDSystemDevice> device_;
  SMCWrapper smc_;
  std::unique_ptr<HIDWrapper> hid_;
  std::unique_ptr<ReadingRecords> records_;
  // What the SMC reader holds weakly as its delegate; owns nothing.
  std::shared_ptr<SMCWrapperDelegate> delegate_;
  SensorList defaultSMCSensors_;
  SensorList defaultHIDSensors_;
  std::unique_ptr<const SensorNaming> naming_;
};

}  // namespace kelvora
