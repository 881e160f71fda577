// The reports of the system profiler: whatever a child prints, the parsers return valid texts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "base/UTF8Text.h"
#include "sysinfo/DisplaysReport.h"
#include "sysinfo/HardwareReport.h"

namespace {

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

void requireText(const std::optional<std::string>& text) {
  require(!text || kelvora::isValidUTF8(*text));
}

void checkDisplays(std::string_view text) {
  const kelvora::DisplaysReport report = kelvora::parseDisplaysReport(text);
  require(!report.gpuInfos || !report.failure);
  requireText(report.failure);
  if (!report.gpuInfos) {
    return;
  }
  for (const kelvora::ZDGPUInfo& info : *report.gpuInfos) {
    require(info.modelName == info.shortModelName && !info.isDedicated);
    requireText(info.modelName);
    requireText(info.vendor);
    requireText(info.vram);
  }
}

void checkHardware(std::string_view text) {
  const kelvora::HardwareReport report = kelvora::parseHardwareReport(text);
  requireText(report.modelNumber);
  requireText(report.serial);
  requireText(report.fallbackName);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  checkDisplays(text);
  checkHardware(text);
  return 0;
}
