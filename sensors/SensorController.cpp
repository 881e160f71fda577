#include "KelvoraCore/SensorController.h"

#include <array>
#include <iterator>
#include <utility>

#include "hardware/RawReading.h"
#include "hardware/ReadingRecords.h"
#include "ports/Ports.h"
#include "sensors/Catalogue.h"
#include "sensors/ComputedSensors.h"
#include "sensors/DedicatedGPU.h"
#include "sensors/GroupOrder.h"
#include "sensors/SensorNaming.h"

namespace kelvora {

namespace {

template <typename Object>
std::shared_ptr<Object> borrowed(Object& object) {
  return std::shared_ptr<Object>(&object, [](Object*) {});
}

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

// A sensor that stands in the reading twice has one record: its place is the raw sensor's.
SensorList recordsOf(const std::vector<NamedSensor>& reading, std::span<const RawSensor> raw,
                     const SensorNaming& naming, ReadingRecords& memory) {
  const std::shared_ptr<ReadingRecords::Records> records = memory.take(raw.size());
  SensorList sensors;
  sensors.reserve(reading.size());
  for (const NamedSensor& named : reading) {
    Sensor& record = (*records)[named.raw];
    naming.copyTo(record, raw[named.raw], named);
    sensors.emplace_back(records, &record);
  }
  return sensors;
}

std::optional<std::string> unlessEmpty(const std::optional<std::string>& text) {
  return text && !text->empty() ? text : std::nullopt;
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
    : SensorController(Platform::current(), borrowed(std::as_const(ZDSystemDevice::device()))) {}

SensorController::SensorController(Platform& platform)
    : SensorController(platform, std::make_shared<const ZDSystemDevice>(platform)) {}

SensorController::SensorController(Platform& platform, const ZDSystemDevice& device)
    : SensorController(platform, borrowed(device)) {}

SensorController::SensorController(Platform& platform, std::shared_ptr<const ZDSystemDevice> device)
    : platform_(platform),
      device_(std::move(device)),
      smc_(platform),
      hid_(platform.architecture() == Architecture::kAppleSilicon
               ? std::make_unique<HIDWrapper>(platform)
               : nullptr),
      records_(std::make_unique<ReadingRecords>()),
      delegate_(borrowed<SMCWrapperDelegate>(*this)) {
  smc_.setDelegate(delegate_);
  loadDefaultSensors();
}

SensorController::~SensorController() = default;

void SensorController::loadDefaultSensors() {
  const std::uint64_t family = device_->cpuInfo().platform;
  defaultSMCSensors_ = getDefaultSMCSensors();
  std::erase_if(defaultSMCSensors_, [family](const SensorPtr& sensor) {
    return !appliesToFamily(sensor->platform, family);
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
  const ZDGPUInfo* gpu = dedicatedGPU(device_->gpuInfos());
  return gpu == nullptr ? std::nullopt : unlessEmpty(gpu->modelName);
}

std::optional<std::string> SensorController::dedicatedGPUShortName() const {
  const ZDGPUInfo* gpu = dedicatedGPU(device_->gpuInfos());
  return gpu == nullptr ? std::nullopt : unlessEmpty(gpu->shortModelName);
}

SensorList SensorController::getAllSensors() {
  RawReading raw;
  smc_.read(raw);
  if (hid_) {
    for (const SensorPtr& sensor : hid_->getAllSensors()) {
      raw.add(std::move(*sensor));
    }
  }
  std::vector<NamedSensor> reading = naming_->name(raw.sensors());
  addComputedSensors(raw, reading);
  sortByGroup(reading);
  return recordsOf(reading, raw.sensors(), *naming_, *records_);
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
