#include "sysinfo/GraphicsQuery.h"

#include <algorithm>
#include <string>

#include "KelvoraCore/Sensor.h"

#include "base/Log.h"
#include "ports/Ports.h"
#include "sysinfo/DisplaysReport.h"
#include "sysinfo/RegistryValues.h"
#include "sysinfo/SystemProfiler.h"

namespace kelvora {

namespace {

// Tested in this order: the name of an AMD Radeon contains both.
constexpr const char* kDedicatedNames[] = {"NVIDIA", "AMD", "Radeon"};

std::optional<std::vector<ZDGPUInfo>> reportedGraphics(Platform& platform) {
  const auto text = systemProfilerReport(platform, "SPDisplaysDataType");
  if (!text) {
    return std::nullopt;
  }
  DisplaysReport report = parseDisplaysReport(*text);
  if (report.failure) {
    log("error to parse system_profiler SPDisplaysDataType: " + *report.failure);
  }
  return std::move(report.gpuInfos);
}

// The model's text; empty when it is no data or not ASCII.
std::string modelText(const platform::RegistryEntry& device) {
  const auto properties = getIOProperties(device);
  const auto* data = properties ? dataProperty(*properties, "model") : nullptr;
  const std::string text = data == nullptr ? "" : textOfData(*data);
  const bool isASCII = std::all_of(text.begin(), text.end(), [](char character) {
    return static_cast<unsigned char>(character) < 0x80;
  });
  return isASCII ? text : "";
}

ZDGPUInfo graphicsProcessor(const std::string& model) {
  ZDGPUInfo info;
  info.modelName = model;
  for (const char* name : kDedicatedNames) {
    if (model.find(name) == std::string::npos) {
      continue;
    }
    info.shortModelName = name;
    info.isDedicated = true;
    break;
  }
  return info;
}

std::vector<ZDGPUInfo> registeredGraphics(platform::IORegistry& registry) {
  std::vector<ZDGPUInfo> infos;
  const auto devices = registry.matchingServices("IOPCIDevice");
  if (!devices) {
    return infos;
  }
  for (const auto& device : *devices) {
    const std::string model = modelText(*device);
    if (!model.empty()) {
      infos.push_back(graphicsProcessor(model));
    }
  }
  return infos;
}

}  // namespace

std::optional<std::vector<ZDGPUInfo>> queryGraphics(Platform& platform, std::uint64_t family) {
  const bool isAppleSilicon = family != SensorPlatformIntel && family != 0;
  if (isAppleSilicon) {
    return reportedGraphics(platform);
  }
  return registeredGraphics(platform.registry());
}

}  // namespace kelvora
