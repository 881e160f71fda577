#include <optional>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/ZDSystemDevice.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/InventoryText.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/Report.h"

namespace kelvora::tool {

namespace {

Json jsonOf(const CPUCoreInfo& core) {
  return {{"coreId", core.coreId}, {"name", core.name}, {"type", core.type}};
}

Json jsonOf(const ZDGPUInfo& gpu) {
  return {{"modelName", orNull(gpu.modelName)}, {"shortModelName", orNull(gpu.shortModelName)},
          {"isDedicated", gpu.isDedicated},     {"vendor", orNull(gpu.vendor)},
          {"vram", orNull(gpu.vram)},           {"cores", gpu.cores}};
}

Json jsonOf(const ZDDiskInfo& disk) {
  return {{"name", disk.name},
          {"model", disk.model},
          {"size", orNull(disk.size)},
          {"displayName", disk.displayName()}};
}

template <typename T>
Json listOf(const std::optional<std::vector<T>>& records) {
  if (!records) {
    return nullptr;
  }
  Json list = Json::array();
  for (const T& record : *records) {
    list.push_back(jsonOf(record));
  }
  return list;
}

Json jsonOf(const ZDCPUInfo& cpu) {
  return {{"brand", cpu.brand},
          {"shortBrand", cpu.shortBrand()},
          {"vendor", cpu.vendor},
          {"cpuCount", cpu.cpuCount},
          {"coreCount", cpu.coreCount},
          {"threadCount", cpu.threadCount},
          {"eCoreCount", cpu.eCoreCount},
          {"pCoreCount", cpu.pCoreCount},
          {"coreList", listOf(cpu.coreList)},
          {"frequency", cpu.frequency},
          {"l2Cache", cpu.l2Cache},
          {"l3Cache", cpu.l3Cache},
          {"architecture", cpu.architecture},
          {"platform", cpu.platform}};
}

Json jsonOf(const ZDModelInfo& model) {
  return {{"modelId", model.modelId},
          {"modelNumber", orNull(model.modelNumber)},
          {"name", orNull(model.name)},
          {"year", model.year},
          {"family", model.family},
          {"familyName", orNull(model.familyName())},
          {"familyIcon", model.familyIcon()},
          {"displayResolution",
           {{"width", jsonNumber(model.displayResolution.width)},
            {"height", jsonNumber(model.displayResolution.height)}}},
          {"serial", orNull(model.serial)},
          {"physicalMemory", orNull(model.physicalMemory)},
          {"endianness", model.endianness},
          {"isT2ChipSupport", model.isT2ChipSupport()}};
}

Json jsonOf(const ZDSystemDevice& device) {
  const ZDOSInfo& os = device.osInfo();
  const ZDBatteryInfo& battery = device.batteryInfo();
  return {
      {"hostName", device.hostName()},
      {"modelInfo", jsonOf(device.modelInfo())},
      {"cpuInfo", jsonOf(device.cpuInfo())},
      {"gpuInfos", listOf(device.gpuInfos())},
      {"batteryInfo",
       {{"cycleCount", battery.cycleCount},
        {"maxCapacity", battery.maxCapacity},
        {"designedCapacity", battery.designedCapacity},
        {"health", battery.health()}}},
      {"diskInfo", device.diskInfo() ? jsonOf(*device.diskInfo()) : Json(nullptr)},
      {"osInfo",
       {{"version",
         {{"major", os.version.major}, {"minor", os.version.minor}, {"patch", os.version.patch}}},
        {"build", os.build},
        {"versionString", os.versionString()},
        {"name", os.name()}}},
      {"memoryInfo", {{"physicalMemory", device.memoryInfo().physicalMemory}}}};
}

int runInventory(const Options& options, StandardOutput& output) {
  const MachineChoice machine = chooseMachine(options.machine);
  const ZDSystemDevice device(machine.platform);
  if (options.json) {
    writeJson(output, {{"machine", jsonMachine(machine.platform)}, {"inventory", jsonOf(device)}});
  } else {
    writeText(output, machineLine(machine, static_cast<std::size_t>(output.columns())) +
                          inventoryText(device, Style(output)));
  }
  requireInventory(device, machine.platform);
  return kExitSuccess;
}

}  // namespace

std::vector<Command> inventoryCommands() {
  return {{.name = "inventory",
           .description = "Show what the machine is made of",
           .example = "kelvora inventory --machine ./my-mac.json",
           .machine = MachineUse::kOption,
           .run = runInventory}};
}

}  // namespace kelvora::tool
