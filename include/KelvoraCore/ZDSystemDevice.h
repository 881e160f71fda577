#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/ZDBatteryInfo.h"
#include "KelvoraCore/ZDCPUInfo.h"
#include "KelvoraCore/ZDDiskInfo.h"
#include "KelvoraCore/ZDGPUInfo.h"
#include "KelvoraCore/ZDMemoryInfo.h"
#include "KelvoraCore/ZDModelInfo.h"
#include "KelvoraCore/ZDOSInfo.h"

namespace kelvora {

class Platform;

/// The inventory of the Mac that the library runs on: gathered once, when it is created, then only
/// read, by any thread. No query reports an error: what the system does not report is the default
/// that the field names.
class KELVORA_EXPORT ZDSystemDevice {
 public:
  /// The shared inventory of the current platform. The first call gathers it, child processes
  /// included, and may take seconds; any thread.
  static ZDSystemDevice& device();

  /// Gathers the inventory of the current platform.
  ZDSystemDevice();
  /// Gathers the inventory of `platform`, which outlives this object: host name, model, processor,
  /// graphics, battery, disk, operating system and memory, in this order.
  explicit ZDSystemDevice(Platform& platform);

  // The fields as they were gathered. Owned by this object; they live and stay as long as it does.

  const std::string& hostName() const { return hostName_; }  ///< e.g. "Anna's MacBook Pro"
  const ZDModelInfo& modelInfo() const { return modelInfo_; }
  const ZDCPUInfo& cpuInfo() const { return cpuInfo_; }
  /// In the order of discovery; none if an Apple-silicon Mac gives no usable report.
  const std::optional<std::vector<ZDGPUInfo>>& gpuInfos() const { return gpuInfos_; }
  const ZDBatteryInfo& batteryInfo() const { return batteryInfo_; }
  const std::optional<ZDDiskInfo>& diskInfo() const { return diskInfo_; }
  const ZDOSInfo& osInfo() const { return osInfo_; }
  const ZDMemoryInfo& memoryInfo() const { return memoryInfo_; }

  // The queries behind the fields. Each asks the system again; only `getSystemInfo` changes a
  // field.

  /// Reads the host name into its field.
  void getSystemInfo();
  /// The catalogue's record of this Mac, or one made from the system's hardware report.
  ZDModelInfo getModelInfo() const;
  ZDCPUInfo getCPUInfo() const;
  /// The cores in the I/O registry; none if the query fails.
  std::optional<CPUCoresInfo> getCPUCoresInfo() const;
  /// The graphics processors: from the system profiler if the processor field has an
  /// Apple-silicon family, else from the I/O registry. None if the profiler gives no report; a
  /// report of an unexpected shape is logged, too.
  std::optional<std::vector<ZDGPUInfo>> getGPUInfo() const;
  /// The battery's wear; which capacity is its maximum depends on the processor field.
  ZDBatteryInfo getBatteryInfo() const;
  /// The disk of "/"; none if it is removable or cannot be described. Logged only when the
  /// system lists no volume at all.
  std::optional<ZDDiskInfo> getDiskInfo() const;
  ZDOSInfo getOSInfo() const;
  ZDMemoryInfo getMemoryInfo() const;

  /// The model identifier alone, e.g. "MacBookPro18,1", without an inventory; empty when the system
  /// has none. Any thread; logs nothing.
  static std::string modelIdentifier(Platform& platform);

  /// The 72 models that the library knows, by model identifier ("MacBookPro18,1").
  static std::map<std::string, ZDModelInfo> defaultModelDict();

 private:
  Platform& platform_;
  std::string hostName_;
  ZDModelInfo modelInfo_;
  ZDCPUInfo cpuInfo_;
  std::optional<std::vector<ZDGPUInfo>> gpuInfos_;
  ZDBatteryInfo batteryInfo_;
  std::optional<ZDDiskInfo> diskInfo_;
  ZDOSInfo osInfo_;
  ZDMemoryInfo memoryInfo_;
};

}  // namespace kelvora
