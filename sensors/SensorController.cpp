#include "KelvoraCore/SensorController.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/NoneIfEmpty.h"
#include "ports/Ports.h"
#include "sensors/Catalogue.h"
#include "sensors/ComputedSensors.h"
#include "sensors/DedicatedGPU.h"
#include "sensors/FanWrites.h"
#include "sensors/SensorNaming.h"
#include "sysinfo/GraphicsQuery.h"
#include "sysinfo/ModelQuery.h"
#include "sysinfo/ProcessorQuery.h"

namespace kelvora {

namespace {

template <typename Factory>
SensorList makeSensors(const std::vector<CatalogueBlock>& blocks, Factory factory) {
  SensorList sensors;
  for (const CatalogueBlock& block : blocks) {
    for (const CatalogueEntry& entry : block.entries) {
      sensors.push_back(factory(std::string(entry.key), std::string(entry.name), block.type,
                                block.group, block.platform, block.average));
    }
  }
  return sensors;
}

void append(SensorList& list, const SensorList& more) {
  list.insert(list.end(), more.begin(), more.end());
}

// Sensors without a group come last.
std::uint64_t rank(const Sensor& sensor) {
  return sensor.group == SensorGroupNone ? UINT64_MAX : sensor.group;
}

}  // namespace

SensorController& SensorController::shared() {
  // Never destroyed: hosts may still read while the process ends.
  static auto* const controller = new SensorController();
  return *controller;
}

SensorList SensorController::getDefaultSMCSensors() {
  return makeSensors(smcCatalogue(), [](auto&&... fields) {
    return Sensor::instanceWithKey(std::forward<decltype(fields)>(fields)...);
  });
}

SensorList SensorController::getDefaultHIDSensors() {
  return makeSensors(hidCatalogue(), [](auto&&... fields) {
    return Sensor::hidSensorWithKey(std::forward<decltype(fields)>(fields)...);
  });
}

SensorController::SensorController()
    : SensorController(Platform::current(), ZDSystemDevice::device()) {}

// The queries that a reading needs. A whole inventory would run the system profiler and ask for
// battery and disk too.
SensorController::SensorController(Platform& platform)
    : SensorController(platform, queryProcessorFamily(platform.systemControls())) {}

SensorController::SensorController(Platform& platform, const ZDSystemDevice& device)
    : SensorController(platform, device.cpuInfo().platform, device.gpuInfos()) {
  isT2ChipSupport_ = device.modelInfo().isT2ChipSupport();
}

SensorController::SensorController(Platform& platform, std::uint64_t family)
    : SensorController(platform, family, queryGraphics(platform, family)) {}

SensorController::SensorController(Platform& platform, std::uint64_t family,
                                   std::optional<std::vector<ZDGPUInfo>> gpus)
    : platform_(platform),
      family_(family),
      gpus_(std::move(gpus)),
      smc_(platform),
      hid_(platform.architecture() == Architecture::kAppleSilicon
               ? std::make_unique<HIDWrapper>(platform)
               : nullptr),
      delegate_(std::make_shared<bool>(), this) {
  smc_.setDelegate(delegate_);
  loadDefaultSensors();
}

SensorController::~SensorController() = default;

void SensorController::loadDefaultSensors() {
  defaultSMCSensors_ = getDefaultSMCSensors();
  std::erase_if(defaultSMCSensors_, [this](const SensorPtr& sensor) {
    return !appliesToFamily(sensor->platform, family_);
  });
  fillInGPU(defaultSMCSensors_, dedicatedGPUName(), dedicatedGPUShortName());
  defaultHIDSensors_ = getDefaultHIDSensors();

  SensorList catalogue = defaultSMCSensors_;
  if (hid_) {
    catalogue.insert(catalogue.end(), defaultHIDSensors_.begin(), defaultHIDSensors_.end());
  }
  naming_ = std::make_unique<const SensorNaming>(std::move(catalogue));
}

std::optional<std::string> SensorController::dedicatedGPUName() const {
  const ZDGPUInfo* gpu = dedicatedGPU(gpus_);
  return gpu == nullptr ? std::nullopt : noneIfEmpty(gpu->modelName.value_or(""));
}

std::optional<std::string> SensorController::dedicatedGPUShortName() const {
  const ZDGPUInfo* gpu = dedicatedGPU(gpus_);
  return gpu == nullptr ? std::nullopt : noneIfEmpty(gpu->shortModelName.value_or(""));
}

SensorList SensorController::getAllSensors() {
  SensorList raw = smc_.getAllSensors();
  if (hid_) {
    append(raw, hid_->getAllSensors());
  }
  SensorList reading = naming_->name(raw);
  append(reading, buildComputedSensorsInSensors(reading));
  std::ranges::stable_sort(reading, {}, [](const SensorPtr& sensor) { return rank(*sensor); });
  return reading;
}

SensorList SensorController::buildComputedSensorsInSensors(const SensorList& sensors) {
  return computedSensors(sensors);
}

double SensorController::getSensorValueByKey(std::string_view key, std::uint64_t type,
                                             std::uint64_t sourceType,
                                             const SensorList& allSensors) {
  switch (sourceType) {
    case SensorSourceSMC:
      return smc_.getSensorValueByKey(key, type).value_or(0);
    case SensorSourceHID:
      return hid_ ? hid_->getSensorValueByKey(key, type).value_or(0) : 0;
    case SensorSourceComputed:
      return computedValue(key, type, allSensors);
    default:
      return 0;
  }
}

bool SensorController::setSpeed(std::uint64_t speed, std::uint64_t forFan, bool autoMode) {
  const auto scheme = hasFanModes() ? FanScheme::kModeAndTarget : FanScheme::kMinimum;
  bool isWritten = false;
  for (const FanWrite& write : fanWrites(scheme, speed, forFan, autoMode)) {
    isWritten = smc_.setExternalValue(write.value, write.key);
  }
  return isWritten;
}

bool SensorController::hasFanModes() {
  if (!isT2ChipSupport_) {
    isT2ChipSupport_ = queryT2ChipSupport(platform_);
  }
  return *isT2ChipSupport_;
}

std::optional<std::string> SensorController::sensorTypeStringFromType(std::uint64_t type) const {
  static constexpr std::array<const char*, 5> kWords = {"Temperature", nullptr, "Voltage",
                                                        "Current", "Power"};
  if (type >= kWords.size() || kWords[type] == nullptr) {
    return std::nullopt;
  }
  return kWords[type];
}

void SensorController::smcReadValueFailedWithError(const std::string& message) {
  platform::NotificationCentre& centre = platform_.notificationCentres().distributed();
  platform_.mainQueue().async([&centre, message] {
    centre.post({SensorControllerDidFailNotification, message, std::nullopt},
                /*deliverImmediately=*/true);
  });
}

}  // namespace kelvora
