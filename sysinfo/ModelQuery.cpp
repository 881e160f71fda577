#include "sysinfo/ModelQuery.h"

#include <chrono>
#include <optional>
#include <string>

#include "ports/Ports.h"
#include "sysinfo/HardwareReport.h"
#include "sysinfo/LocalDate.h"
#include "sysinfo/ModelCatalogue.h"
#include "sysinfo/SystemControlValues.h"
#include "sysinfo/SystemProfiler.h"

namespace kelvora {

namespace {

struct FamilyPrefix {
  const char* prefix;
  std::int64_t family;
};

// The first row that holds decides: "MacBookPro" also begins with "MacBook".
constexpr FamilyPrefix kFamilyPrefixes[] = {
    {"MacBookPro", ZDModelFamilyMacBookPro}, {"MacBookAir", ZDModelFamilyMacBookAir},
    {"MacBook", ZDModelFamilyMacBook},       {"iMac", ZDModelFamilyIMac},
    {"Macmini", ZDModelFamilyMacMini},       {"MacPro", ZDModelFamilyMacPro},
    {"Xserve", ZDModelFamilyXserve},
};

HardwareReport hardwareReport(Platform& platform) {
  const auto text = systemProfilerReport(platform, "SPHardwareDataType");
  return text ? parseHardwareReport(*text) : HardwareReport{};
}

ZDModelInfo unknownModel(const std::string& identifier, const HardwareReport& report) {
  // Of the calendar in which the catalogue's years are, whatever the user's is: newer Macs have
  // their fans set by another scheme, and 1405 would be older than any.
  const std::int64_t year =
      report.fallbackName ? static_cast<int>(std::chrono::year_month_day(localToday()).year()) : 0;
  return ZDModelInfo::objectWithName(report.fallbackName, year, familyOfIdentifier(identifier));
}

ZDResolution mainScreenSize(platform::SystemFacts& facts) {
  const auto displays = facts.activeDisplays();
  if (displays.empty()) {
    return {};
  }
  return {.width = displays.front().width, .height = displays.front().height};
}

std::int64_t endiannessOf(std::int64_t byteOrder) {
  if (byteOrder == 1234) {
    return ZDEndiannessLittle;
  }
  return byteOrder == 4321 ? ZDEndiannessBig : ZDEndiannessUnknown;
}

}  // namespace

std::int64_t familyOfIdentifier(std::string_view identifier) {
  for (const FamilyPrefix& row : kFamilyPrefixes) {
    if (identifier.starts_with(row.prefix)) {
      return row.family;
    }
  }
  return ZDModelFamilyUnknown;
}

std::string queryModelIdentifier(platform::SystemControls& controls) {
  return sysctlNSStringForKey("hw.model", controls);
}

ZDModelInfo queryModel(Platform& platform) {
  const std::string identifier = queryModelIdentifier(platform.systemControls());
  const HardwareReport report = hardwareReport(platform);
  const std::int64_t byteOrder = sysctlNumberForKey("hw.byteorder", platform.systemControls());
  const CatalogueModel* known = catalogueModel(identifier);
  ZDModelInfo info = known != nullptr ? modelRecord(*known) : unknownModel(identifier, report);
  info.modelId = identifier;
  info.modelNumber = report.modelNumber;
  info.serial = report.serial;
  info.displayResolution = mainScreenSize(platform.systemFacts());
  info.endianness = endiannessOf(byteOrder);
  return info;
}

bool queryT2ChipSupport(Platform& platform) {
  const CatalogueModel* known = catalogueModel(queryModelIdentifier(platform.systemControls()));
  return (known != nullptr ? modelRecord(*known) : queryModel(platform)).isT2ChipSupport();
}

}  // namespace kelvora
