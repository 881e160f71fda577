#include "tools/kelvora/InventoryText.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/kelvora/ByteText.h"
#include "tools/kelvora/Command.h"
#include "tools/kelvora/LineGroup.h"

namespace kelvora::tool {

namespace {

std::string cacheText(double mebibytes) {
  constexpr double kKibibytes = 1024;
  if (mebibytes <= 0) {
    return "";
  }
  return mebibytes < 1 ? decimalText(mebibytes * kKibibytes) + " KB"
                       : decimalText(mebibytes) + " MB";
}

std::string frequencyText(double gigahertz) {
  return gigahertz <= 0 ? "" : decimalText(gigahertz) + " GHz";
}

bool isKnown(std::uint64_t count) { return count != 0 && count != ZDCPUInfo::kUnknownCount; }

std::string countText(std::uint64_t count) { return isKnown(count) ? std::to_string(count) : ""; }

std::string unlessUnknown(const std::string& text) { return text == "Unknown" ? "" : text; }

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += word.empty() ? "" : (text.empty() ? "" : ", ") + word;
  }
  return text;
}

std::string counted(std::uint64_t count, const char* what) {
  return isKnown(count) ? std::to_string(count) + what : "";
}

// "8 (4 performance, 4 efficiency)"
std::string coresText(const ZDCPUInfo& cpu) {
  const std::string kinds =
      joined({counted(cpu.pCoreCount, " performance"), counted(cpu.eCoreCount, " efficiency")});
  const std::string count = countText(cpu.coreCount);
  return count.empty() || kinds.empty() ? count + kinds : count + " (" + kinds + ")";
}

std::string screenText(const ZDResolution& screen) {
  return screen.width > 0 && screen.height > 0
             ? decimalText(screen.width) + " × " + decimalText(screen.height) + " points"
             : "";
}

// "MacBook Pro 15-inch, 2018"
std::string modelText(const ZDModelInfo& model) {
  return joined({model.name.value_or(""), model.year > 0 ? std::to_string(model.year) : ""});
}

LineGroup computer(const ZDSystemDevice& device) {
  const ZDModelInfo& model = device.modelInfo();
  LineGroup group("Computer");
  group.add("Name", device.hostName());
  group.add("Model", modelText(model));
  group.add("Model identifier", model.modelId);
  group.add("Model number", model.modelNumber.value_or(""));
  group.add("Serial number", model.serial.value_or(""));
  group.add("Main screen", screenText(model.displayResolution));
  return group;
}

LineGroup processor(const ZDCPUInfo& cpu) {
  LineGroup group("Processor");
  group.add("Name", unlessUnknown(cpu.brand));
  group.add("Packages", cpu.cpuCount > 1 ? countText(cpu.cpuCount) : "");
  group.add("Cores", coresText(cpu));
  group.add("Threads", countText(cpu.threadCount));
  group.add("Frequency", frequencyText(cpu.frequency));
  group.add("Level 2 cache", cacheText(cpu.l2Cache));
  group.add("Level 3 cache", cacheText(cpu.l3Cache));
  return group;
}

std::string featuresText(const ZDGPUInfo& gpu) {
  const auto cores = static_cast<std::uint64_t>(gpu.cores);
  return joined({gpu.isDedicated ? "dedicated" : "integrated",
                 gpu.cores > 0 ? counted(cores, " cores") : "", gpu.vram.value_or("")});
}

LineGroup graphics(const std::optional<std::vector<ZDGPUInfo>>& gpus) {
  LineGroup group("Graphics");
  for (const ZDGPUInfo& gpu : gpus.value_or(std::vector<ZDGPUInfo>())) {
    const std::string name = gpu.modelName.value_or("unnamed");
    group.add("Name", name + " (" + featuresText(gpu) + ")");
  }
  return group;
}

// A machine that does not report its memory has a text for 0 bytes, in words or digits.
bool isZero(const std::string& size) {
  return size.find_first_of("123456789") == std::string::npos;
}

LineGroup memory(const ZDMemoryInfo& memory) {
  LineGroup group("Memory");
  group.add("Installed", isZero(memory.physicalMemory) ? "" : memory.physicalMemory);
  return group;
}

std::string milliampereHours(std::int64_t capacity) {
  return capacity > 0 ? std::to_string(capacity) + " mAh" : "";
}

LineGroup battery(const ZDBatteryInfo& battery) {
  LineGroup group("Battery");
  const bool exists =
      battery.cycleCount > 0 || battery.maxCapacity > 0 || battery.designedCapacity > 0;
  group.add("Health", battery.designedCapacity > 0 ? std::to_string(battery.health()) + " %" : "");
  group.add("Capacity", milliampereHours(battery.maxCapacity));
  group.add("Capacity as new", milliampereHours(battery.designedCapacity));
  group.add("Charge cycles", exists ? std::to_string(battery.cycleCount) : "");
  return group;
}

LineGroup disk(const std::optional<ZDDiskInfo>& disk) {
  LineGroup group("Startup disk");
  if (disk) {
    group.add("Model", disk->model);
    group.add("Name", disk->name);
    group.add("Size", disk->size ? decimalByteText(static_cast<double>(*disk->size)) : "");
  }
  return group;
}

LineGroup operatingSystem(const ZDOSInfo& os) {
  LineGroup group("Operating system");
  group.add("Name", unlessUnknown(os.name()));
  group.add("Version", os.version == ZDOSVersion() ? "" : os.versionString());
  group.add("Build", unlessUnknown(os.build));
  return group;
}

// A system that reports none of these reports nothing.
bool isEmpty(const ZDSystemDevice& device) {
  return device.modelInfo().modelId.empty() && device.cpuInfo().brand == "Unknown" &&
         device.hostName().empty() && device.osInfo().version == ZDOSVersion() &&
         device.gpuInfos().value_or(std::vector<ZDGPUInfo>()).empty() && !device.diskInfo();
}

}  // namespace

std::string inventoryText(const ZDSystemDevice& device, const Style& style) {
  constexpr std::size_t kNameWidth = 16;
  const std::array groups{computer(device),
                          processor(device.cpuInfo()),
                          graphics(device.gpuInfos()),
                          memory(device.memoryInfo()),
                          battery(device.batteryInfo()),
                          disk(device.diskInfo()),
                          operatingSystem(device.osInfo())};
  std::string text;
  for (const LineGroup& group : groups) {
    const std::string lines = textOf(group.lines(kNameWidth), style);
    text += lines.empty() ? "" : "\n" + lines;
  }
  return text;
}

void requireInventory(const ZDSystemDevice& device, const Platform& platform) {
  if (isEmpty(device)) {
    throw CommandError(kExitNothingRead,
                       platform.title() + ": nothing of the machine could be read");
  }
}

}  // namespace kelvora::tool
