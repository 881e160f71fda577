#include "KelvoraCore/KVOverviewManager.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/ZDSystemDevice.h"

#include "presentation/IntegerFormat.h"
#include "sysinfo/ByteCount.h"

namespace kelvora {

namespace {

constexpr char kUnknown[] = "Unknown";

/// Counts are shown as numbers of 32 bits: one that is unknown, all bits set, is shown as -1.
template <typename Count>
std::int32_t shown(Count count) {
  return static_cast<std::int32_t>(count);
}

template <typename Count>
std::string countText(Count count) {
  return std::to_string(shown(count));
}

/// The lines of one inventory in one language.
class Lines {
 public:
  explicit Lines(const KVLocalized::Texts& texts) : texts_(texts) {}

  void add(const char* key, std::optional<std::string> value) {
    items_.push_back({localized(key), std::move(value)});
  }
  void addModel(const ZDModelInfo& model) {
    add("overview-model-id-item", model.modelId);
    if (!model.modelNumber.value_or("").empty()) {
      add("overview-model-number-item", model.modelNumber);
    }
    add("overview-model-year-item", countText(model.year));
    add("overview-serial-number-item", model.serial);
  }
  void addProcessor(const ZDCPUInfo& cpu) {
    add("overview-processor-item", cpu.brand);
    add("overview-number-of-cores-item", coresText(cpu));
    add("overview-number-of-threads-item", countText(cpu.threadCount));
  }
  void addGraphics(const std::optional<std::vector<ZDGPUInfo>>& gpus) {
    for (const ZDGPUInfo& gpu : gpus.value_or(std::vector<ZDGPUInfo>())) {
      add(gpu.isDedicated ? "overview-dedicated-graphics-item" : "overview-graphics-item",
          graphicsText(gpu));
    }
  }
  void addSystem(const ZDOSInfo& os);
  void addBattery(const ZDBatteryInfo& battery) {
    add("overview-battery-health-item", countText(battery.health()) + '%');
    add("overview-battery-cycle-count-item", countText(battery.cycleCount));
  }
  std::vector<KVOverviewItem> take() { return std::move(items_); }

 private:
  std::string localized(const char* key) const {
    return texts_.localizedStringForKey(key).value_or(key);
  }
  template <typename Count>
  std::string phrase(const char* key, Count count) const {
    return formattedWithInteger(localized(key), shown(count));
  }
  std::string coresText(const ZDCPUInfo& cpu) const;
  std::optional<std::string> graphicsText(const ZDGPUInfo& gpu) const;

  const KVLocalized::Texts& texts_;
  std::vector<KVOverviewItem> items_;
};

// "10 (8 performance, 2 efficiency)"
std::string Lines::coresText(const ZDCPUInfo& cpu) const {
  std::string kinds;
  if (cpu.pCoreCount != 0) {
    kinds = phrase("overview-number-of-p-cores-value", cpu.pCoreCount);
  }
  if (cpu.eCoreCount != 0) {
    kinds += kinds.empty() ? "" : ", ";
    kinds += phrase("overview-number-of-e-cores-value", cpu.eCoreCount);
  }
  return countText(cpu.coreCount) + (kinds.empty() ? "" : " (" + kinds + ")");
}

std::optional<std::string> Lines::graphicsText(const ZDGPUInfo& gpu) const {
  if (gpu.cores <= 0) {
    return gpu.modelName;
  }
  return gpu.modelName.value_or("(null)") + " (" +
         phrase("overview-number-of-cores-value", gpu.cores) + ")";
}

// Neither is localised. The name of another system has the version already: "Debian GNU/Linux 12
// (bookworm)".
void Lines::addSystem(const ZDOSInfo& os) {
  constexpr char kMacOS[] = "macOS";
  if (os.system != kMacOS) {
    items_.push_back({"Operating System", os.name()});
    return;
  }
  items_.push_back({kMacOS, "macOS " + os.name() + " (" + os.versionString() + ")"});
}

std::string diskText(const std::optional<ZDDiskInfo>& disk) {
  if (!disk) {
    return kUnknown;
  }
  const std::int64_t size = disk->size.value_or(0);
  if (size <= 0) {
    return disk->displayName();
  }
  return disk->displayName() + " (" +
         formattedByteCount(static_cast<std::uint64_t>(size), ByteCountStyle::kDecimal) + ")";
}

}  // namespace

KVOverviewManager& KVOverviewManager::shared() {
  static auto* const manager = new KVOverviewManager;
  return *manager;
}

KVOverviewManager::KVOverviewManager()
    : settings_(KVSettings::shared()), platform_(Platform::current()) {}

KVOverviewManager::KVOverviewManager(const ZDSystemDevice& device, KVSettings& settings,
                                     Platform& platform)
    : device_(&device), settings_(settings), platform_(platform) {}

std::vector<KVOverviewItem> KVOverviewManager::buildOverviewItems() const {
  const ZDSystemDevice& device = device_ == nullptr ? ZDSystemDevice::device() : *device_;
  const KVLocalized::Texts texts(settings_, platform_);
  Lines lines(texts);
  lines.addModel(device.modelInfo());
  lines.addSystem(device.osInfo());
  lines.addProcessor(device.cpuInfo());
  lines.addGraphics(device.gpuInfos());
  lines.add("overview-memory-item", device.memoryInfo().physicalMemory);
  lines.add("overview-disk-item", diskText(device.diskInfo()));
  lines.addBattery(device.batteryInfo());
  return lines.take();
}

}  // namespace kelvora
