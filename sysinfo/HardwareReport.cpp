#include "sysinfo/HardwareReport.h"

#include "KelvoraCore/KVExtension.h"

#include "sysinfo/JSONReport.h"

namespace kelvora {

namespace {

HardwareReport machine(const nlohmann::json& entry) {
  HardwareReport report;
  report.modelNumber = textMember(entry, "model_number");
  report.serial = textMember(entry, "serial_number");
  const auto name = textMember(entry, "machine_name");
  const auto chip = textMember(entry, "chip_type");
  if (name && chip) {
    report.fallbackName =
        *name + " (" + KVExtension::removedRegexMatchesWithPattern(*chip, "Apple ", "") + ")";
  }
  return report;
}

}  // namespace

HardwareReport parseHardwareReport(std::string_view text) {
  const auto report = parsedReport(text);
  if (!report || !report->is_object()) {
    return {};
  }
  const auto entries = report->find("SPHardwareDataType");
  if (entries == report->end() || !entries->is_array() || entries->empty()) {
    return {};
  }
  return entries->front().is_object() ? machine(entries->front()) : HardwareReport{};
}

}  // namespace kelvora
