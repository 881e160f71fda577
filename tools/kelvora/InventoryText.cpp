#include "tools/kelvora/InventoryText.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string_view>
#include <vector>

#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

/// A heading and its lines. Lines without a value are left out.
class Group {
 public:
  explicit Group(const char* heading) : heading_(heading) {}

  void add(std::string_view name, const std::string& value) {
    if (!value.empty()) {
      lines_.push_back({std::string(name), printable(value)});
    }
  }
  std::string text(const Style& style) const {
    std::string text = lines_.empty() ? "" : "\n" + style.heading(heading_) + "\n";
    for (const auto& [name, value] : lines_) {
      text += "  " + style.faint(fitted(name, kNameWidth)) + "  " + value + "\n";
    }
    return text;
  }

 private:
  struct Line {
    std::string name;
    std::string value;
  };
  static constexpr std::size_t kNameWidth = 16;
  const char* heading_;
  std::vector<Line> lines_;
};

// At most two decimals, and none that are 0: "2.6", "16".
std::string decimalText(double number) {
  std::array<char, 512> text{};
  std::snprintf(text.data(), text.size(), "%.2f", number);
  std::string digits = text.data();
  digits.erase(digits.find_last_not_of('0') + 1);
  if (digits.ends_with('.')) {
    digits.pop_back();
  }
  return digits;
}

// The largest unit in which the number is at least 1; in thousands, as the makers of disks count.
std::string diskSizeText(std::int64_t bytes) {
  constexpr std::array kUnits{" bytes", " KB", " MB", " GB", " TB", " PB", " EB"};
  constexpr double kStep = 1000;
  auto number = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (number >= kStep && unit + 1 < kUnits.size()) {
    number /= kStep;
    ++unit;
  }
  return decimalText(number) + kUnits.at(unit);
}

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

Group computer(const ZDSystemDevice& device) {
  const ZDModelInfo& model = device.modelInfo();
  Group group("Computer");
  group.add("Name", device.hostName());
  group.add("Model", modelText(model));
  group.add("Model identifier", model.modelId);
  group.add("Model number", model.modelNumber.value_or(""));
  group.add("Serial number", model.serial.value_or(""));
  group.add("Main screen", screenText(model.displayResolution));
  return group;
}

Group processor(const ZDCPUInfo& cpu) {
  Group group("Processor");
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

Group graphics(const std::optional<std::vector<ZDGPUInfo>>& gpus) {
  Group group("Graphics");
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

Group memory(const ZDMemoryInfo& memory) {
  Group group("Memory");
  group.add("Installed", isZero(memory.physicalMemory) ? "" : memory.physicalMemory);
  return group;
}

std::string milliampereHours(std::int64_t capacity) {
  return capacity > 0 ? std::to_string(capacity) + " mAh" : "";
}

Group battery(const ZDBatteryInfo& battery) {
  Group group("Battery");
  const bool exists =
      battery.cycleCount > 0 || battery.maxCapacity > 0 || battery.designedCapacity > 0;
  group.add("Health", battery.designedCapacity > 0 ? std::to_string(battery.health()) + " %" : "");
  group.add("Capacity", milliampereHours(battery.maxCapacity));
  group.add("Capacity as new", milliampereHours(battery.designedCapacity));
  group.add("Charge cycles", exists ? std::to_string(battery.cycleCount) : "");
  return group;
}

Group disk(const std::optional<ZDDiskInfo>& disk) {
  Group group("Startup disk");
  if (disk) {
    group.add("Model", disk->model);
    group.add("Name", disk->name);
    group.add("Size", disk->size ? diskSizeText(*disk->size) : "");
  }
  return group;
}

Group operatingSystem(const ZDOSInfo& os) {
  Group group("Operating system");
  group.add("Name", unlessUnknown(os.name()));
  group.add("Version", os.version == ZDOSVersion() ? "" : os.versionString());
  group.add("Build", unlessUnknown(os.build));
  return group;
}

}  // namespace

std::string inventoryText(const ZDSystemDevice& device, const Style& style) {
  const std::array groups{computer(device),
                          processor(device.cpuInfo()),
                          graphics(device.gpuInfos()),
                          memory(device.memoryInfo()),
                          battery(device.batteryInfo()),
                          disk(device.diskInfo()),
                          operatingSystem(device.osInfo())};
  std::string text;
  for (const Group& group : groups) {
    text += group.text(style);
  }
  return text;
}

}  // namespace kelvora::tool
