#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/HIDWrapper.h"
#include "KelvoraCore/SMCWrapper.h"
#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/ZDSystemDevice.h"

namespace kelvora {

class Platform;
class SensorNaming;

/// The notification that a controller posts to all programs when a read fails; its object is the
/// message, e.g. "SMC read (F0ID) failed".
inline constexpr char SensorControllerDidFailNotification[] = "SensorControllerDidFailNotification";

/// Takes complete readings of one machine: every sensor that the hardware readers find, named from
/// the catalogue, with the computed sensors, sorted by group. A machine of the Apple-silicon
/// architecture is read through the SMC and the HID event system, any other through the SMC only.
///
/// Controllers of different platforms read their own machines side by side. All operations run on
/// the caller's thread and may block for as long as the hardware takes. A controller has no lock:
/// one thread at a time. The catalogue is filtered and filled in once, at creation: only a new
/// controller sees another processor family or graphics processor.
class KELVORA_EXPORT SensorController : public SMCWrapperDelegate {
 public:
  /// The process's controller, created on first use and never released. Any thread.
  static SensorController& shared();

  /// The known SMC keys: 201 new records without values, from "TC0P" "CPU Proximity" to "PDTR"
  /// "DC In Total", in the order in which they name sensors. The keys of per-core sensors are
  /// patterns ("TC%C"), and "{GPU}" in a name is a placeholder for the dedicated graphics
  /// processor. Any thread.
  static SensorList getDefaultSMCSensors();
  /// The known HID products: 11 new records, from "pACC MTR Temp Sensor%" to "PMU tdie%". Any
  /// thread.
  static SensorList getDefaultHIDSensors();

  /// A controller of the current platform. Opens its SMC and takes the processor family and the
  /// graphics processors from `ZDSystemDevice::device()`.
  SensorController();
  /// A controller of `platform`, which must outlive it. Asks the platform for the processor family
  /// and the graphics processors, without gathering a whole inventory.
  explicit SensorController(Platform& platform);
  /// The same, with both taken from `device`, which is not used later.
  SensorController(Platform& platform, const ZDSystemDevice& device);
  ~SensorController() override;
  SensorController(const SensorController&) = delete;
  SensorController& operator=(const SensorController&) = delete;

  /// The machine that it reads.
  Platform& platform() const { return platform_; }
  /// The readers. Owned by the controller; `hid` is null on an Intel Mac.
  SMCWrapper& smc() { return smc_; }
  HIDWrapper* hid() { return hid_.get(); }
  /// The catalogue of this machine: SMC entries of its processor family, with "{GPU}" filled in,
  /// and all HID entries. A change of an entry's name, group or flag shows in later readings, a
  /// change of its key does not.
  const SensorList& defaultSMCSensors() const { return defaultSMCSensors_; }
  const SensorList& defaultHIDSensors() const { return defaultHIDSensors_; }

  /// Fills both lists from the catalogue again; the constructors have called it already.
  void loadDefaultSensors();

  /// One reading: new records that the caller owns, without those of implausible values. Sensors of
  /// the catalogue have its names ("CPU Core 1"); the others have their keys as names and are in
  /// group 0, which comes last. A record is in the list twice when two entries have its key. Empty
  /// when the hardware cannot be read; each failed read is posted (see
  /// `smcReadValueFailedWithError`).
  SensorList getAllSensors();

  /// New records computed from a reading: "AverageCPU", "HottestCPU", "AverageGPU" and "HottestGPU"
  /// in degrees Celsius, each if it is above 0, and "FastestFan" in revolutions per minute, if
  /// there are at least two fans.
  SensorList buildComputedSensorsInSensors(const SensorList& sensors);

  /// The current value of one sensor in the unit of its type, e.g. 41.5 for ("TC0P", 0, 0, {}).
  /// SMC and HID sensors are read from the hardware, 0 when that fails. Computed sensors are
  /// derived from `allSensors`; an average or a maximum without inputs is -1. Anything else is 0.
  double getSensorValueByKey(std::string_view key, std::uint64_t type, std::uint64_t sourceType,
                             const SensorList& allSensors);

  /// Has the privileged tool set a fan, 0 to 19, to `speed` revolutions per minute, and blocks
  /// until the tool has ended. On models of 2018 and later it takes the fan out of the system's
  /// control, or hands it back with `autoMode`, and writes the target speed either way. Older
  /// models only take a higher minimum speed, and `autoMode` makes no difference.
  ///
  /// True if the last write succeeded: on models of 2018 and later that is the target, so true does
  /// not say that the fan was handed back. Nothing is written for a fan above 19. There is no
  /// retry, nothing is read back or reported, and the fan keeps its speed when the program ends,
  /// until `KVFanLeases::handBackWithoutLease` is called.
  bool setSpeed(std::uint64_t speed, std::uint64_t forFan, bool autoMode);

  /// Whether the machine's fans have a mode, by which they are taken out of the system's control
  /// and handed back: models of 2018 and later. Asks the platform for the model on the first call.
  bool hasFanModes();

  /// The English word for a type: "Temperature", "Voltage", "Current" or "Power"; none for fans and
  /// unknown types.
  std::optional<std::string> sensorTypeStringFromType(std::uint64_t type) const;

  /// The model name of the dedicated graphics processor, e.g. "AMD Radeon Pro 560X", if the machine
  /// has exactly two graphics processors; the last if both are dedicated. None otherwise.
  std::optional<std::string> dedicatedGPUName() const;
  /// The short name of the same processor, e.g. "AMD".
  std::optional<std::string> dedicatedGPUShortName() const;

  /// Posts `SensorControllerDidFailNotification` with `message` as its object to the distributed
  /// centre. The post runs later on the main queue, even if the controller has ended by then, and
  /// is delivered immediately. Any thread.
  void smcReadValueFailedWithError(const std::string& message) override;

 private:
  SensorController(Platform& platform, std::uint64_t family);
  SensorController(Platform& platform, std::uint64_t family,
                   std::optional<std::vector<ZDGPUInfo>> gpus);
  Platform& platform_;
  std::uint64_t family_;
  std::optional<std::vector<ZDGPUInfo>> gpus_;
  std::optional<bool> isT2ChipSupport_;  // asked at the first write without an inventory
  SMCWrapper smc_;
  std::unique_ptr<HIDWrapper> hid_;
  // The SMC reader holds it weakly as its delegate. It points to this object and does not own it.
  std::shared_ptr<SMCWrapperDelegate> delegate_;
  SensorList defaultSMCSensors_;
  SensorList defaultHIDSensors_;
  std::unique_ptr<const SensorNaming> naming_;
};

}  // namespace kelvora
