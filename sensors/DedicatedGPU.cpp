#include "sensors/DedicatedGPU.h"

#include <cstddef>

#include "KelvoraCore/KVExtension.h"

namespace kelvora {

namespace {

constexpr const char* kPlaceholder = "{GPU}";
constexpr std::size_t kBuiltInAndDedicated = 2;

void fillIn(std::string& text, const std::optional<std::string>& gpu) {
  text = KVExtension::trimWhitespace(KVExtension::replace(text, kPlaceholder, gpu));
}

}  // namespace

const ZDGPUInfo* dedicatedGPU(const std::optional<std::vector<ZDGPUInfo>>& gpus) {
  if (!gpus || gpus->size() != kBuiltInAndDedicated) {
    return nullptr;
  }
  const ZDGPUInfo* dedicated = nullptr;
  for (const ZDGPUInfo& gpu : *gpus) {
    if (gpu.isDedicated) {
      dedicated = &gpu;
    }
  }
  return dedicated;
}

void fillInGPU(const SensorList& catalogue, const std::optional<std::string>& fullName,
               const std::optional<std::string>& shortName) {
  for (const SensorPtr& entry : catalogue) {
    if (entry->name.find(kPlaceholder) == std::string::npos) {
      continue;
    }
    fillIn(entry->name, shortName);
    fillIn(entry->fullName, fullName);
  }
}

}  // namespace kelvora
