#include "KelvoraCore/ZDSystemDevice.h"

#include "ports/Ports.h"
#include "sysinfo/BatteryQuery.h"
#include "sysinfo/DiskQuery.h"
#include "sysinfo/GraphicsQuery.h"
#include "sysinfo/ModelCatalogue.h"
#include "sysinfo/ModelQuery.h"
#include "sysinfo/ProcessorQuery.h"
#include "sysinfo/SystemQuery.h"

namespace kelvora {

// Never destroyed: what lives for the process reads it until the very end.
ZDSystemDevice& ZDSystemDevice::device() {
  static auto* const device = new ZDSystemDevice;
  return *device;
}

ZDSystemDevice::ZDSystemDevice() : ZDSystemDevice(Platform::current()) {}

// The graphics and battery queries read the processor field, so it comes before them.
ZDSystemDevice::ZDSystemDevice(Platform& platform) : platform_(platform) {
  getSystemInfo();
  modelInfo_ = getModelInfo();
  cpuInfo_ = getCPUInfo();
  gpuInfos_ = getGPUInfo();
  batteryInfo_ = getBatteryInfo();
  diskInfo_ = getDiskInfo();
  osInfo_ = getOSInfo();
  memoryInfo_ = getMemoryInfo();
}

void ZDSystemDevice::getSystemInfo() { hostName_ = platform_.systemFacts().localizedHostName(); }

std::string ZDSystemDevice::modelIdentifier(Platform& platform) {
  return queryModelIdentifier(platform.systemControls());
}

ZDModelInfo ZDSystemDevice::getModelInfo() const { return queryModel(platform_); }

ZDCPUInfo ZDSystemDevice::getCPUInfo() const {
  return queryProcessor(platform_.systemControls(), platform_.registry());
}

std::optional<CPUCoresInfo> ZDSystemDevice::getCPUCoresInfo() const {
  return queryCores(platform_.registry());
}

std::optional<std::vector<ZDGPUInfo>> ZDSystemDevice::getGPUInfo() const {
  return queryGraphics(platform_, cpuInfo_.platform);
}

ZDBatteryInfo ZDSystemDevice::getBatteryInfo() const {
  return queryBattery(platform_.registry(), cpuInfo_.platform);
}

std::optional<ZDDiskInfo> ZDSystemDevice::getDiskInfo() const {
  return queryDisk(platform_.systemFacts());
}

ZDOSInfo ZDSystemDevice::getOSInfo() const {
  return queryOS(platform_.systemControls(), platform_.systemFacts());
}

ZDMemoryInfo ZDSystemDevice::getMemoryInfo() const {
  return queryMemory(platform_.systemControls());
}

std::map<std::string, ZDModelInfo> ZDSystemDevice::defaultModelDict() {
  std::map<std::string, ZDModelInfo> models;
  for (const CatalogueModel& model : modelCatalogue()) {
    models.emplace(model.identifier, modelRecord(model));
  }
  return models;
}

}  // namespace kelvora
