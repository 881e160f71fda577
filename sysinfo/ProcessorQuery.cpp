#include "sysinfo/ProcessorQuery.h"

#include <algorithm>
#include <string>

#include "KelvoraCore/KVExtension.h"
#include "KelvoraCore/Sensor.h"

#include "sysinfo/SystemControlValues.h"

namespace kelvora {

namespace {

constexpr float kHertzPerGigahertz = 1e9F;
constexpr float kBytesPerMebibyte = 1'048'576.0F;

struct FamilyRule {
  const char* chip;
  const char* variant;  // "": any
  std::uint64_t family;
};

// The first row whose two texts the brand contains decides.
constexpr FamilyRule kFamilyRules[] = {
    {"intel", "", SensorPlatformIntel}, {"m1", "pro", SensorPlatformM1Pro},
    {"m1", "max", SensorPlatformM1Max}, {"m1", "ultra", SensorPlatformM1Ultra},
    {"m1", "", SensorPlatformM1},       {"m2", "pro", SensorPlatformM2Pro},
    {"m2", "max", SensorPlatformM2Max}, {"m2", "ultra", SensorPlatformM2Ultra},
    {"m2", "", SensorPlatformM2},
};

std::string cleanedBrand(std::string brand) {
  for (const char* mark : {"(TM)", "(R)", "CPU", "@"}) {
    brand = KVExtension::replace(brand, mark, "");
  }
  brand = KVExtension::condenseWhitespace(brand);
  return brand.empty() ? "Unknown" : brand;
}

std::string queryBrand(platform::SystemControls& controls) {
  return cleanedBrand(sysctlNSStringForKey("machdep.cpu.brand_string", controls));
}

std::uint64_t knownCount(std::int64_t count) {
  return count == 0 ? ZDCPUInfo::kUnknownCount : static_cast<std::uint64_t>(count);
}

// In single precision, as the values are shown; an unknown one becomes -1 before it is scaled.
double scaled(std::int64_t number, float divisor) {
  const float value = number == 0 ? -1.0F : static_cast<float>(number);
  return value / divisor;
}

void fillCores(ZDCPUInfo& info, const std::optional<CPUCoresInfo>& cores) {
  if (!cores) {
    info.eCoreCount = ZDCPUInfo::kUnknownCount;
    info.pCoreCount = ZDCPUInfo::kUnknownCount;
    return;
  }
  info.eCoreCount = static_cast<std::uint64_t>(cores->eCores.value_or(0));
  info.pCoreCount = static_cast<std::uint64_t>(cores->pCores.value_or(0));
  info.coreList = cores->coreList;
}

}  // namespace

std::uint64_t queryProcessorFamily(platform::SystemControls& controls) {
  return processorFamily(queryBrand(controls));
}

ZDCPUInfo queryProcessor(platform::SystemControls& controls, platform::IORegistry& registry) {
  const auto number = [&](const char* key) { return sysctlNumberForKey(key, controls); };
  ZDCPUInfo info;
  info.brand = queryBrand(controls);
  info.vendor = sysctlNSStringForKey("machdep.cpu.vendor", controls);
  if (info.vendor.empty()) {
    info.vendor = "GenuineIntel";
  }
  const std::int64_t packages = number("hw.packages");
  info.cpuCount = packages == 0 ? 1 : static_cast<std::uint64_t>(packages);
  info.coreCount = knownCount(number("machdep.cpu.core_count"));
  info.threadCount = knownCount(number("machdep.cpu.thread_count"));
  fillCores(info, queryCores(registry));
  info.frequency = scaled(number("hw.cpufrequency"), kHertzPerGigahertz);
  info.l2Cache = scaled(number("hw.l2cachesize"), kBytesPerMebibyte);
  info.l3Cache = scaled(number("hw.l3cachesize"), kBytesPerMebibyte);
  info.architecture = number("hw.cputype") == 0 ? 2 : 0;
  info.platform = processorFamily(info.brand);
  return info;
}

std::uint64_t processorFamily(std::string_view brand) {
  std::string lowerCase(brand);
  std::transform(lowerCase.begin(), lowerCase.end(), lowerCase.begin(), [](char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + ('a' - 'A'))
                                                : character;
  });
  for (const FamilyRule& rule : kFamilyRules) {
    if (lowerCase.find(rule.chip) != std::string::npos &&
        lowerCase.find(rule.variant) != std::string::npos) {
      return rule.family;
    }
  }
  return 0;
}

}  // namespace kelvora
