#include "sysinfo/DisplaysReport.h"

#include <stdexcept>

#include "KelvoraCore/PropertyListValue.h"

#include "sysinfo/JSONReport.h"

namespace kelvora {

namespace {

using nlohmann::json;

// Thrown within this file only, where the platform raises an exception.
class UnexpectedKind : public std::runtime_error {
 public:
  UnexpectedKind(const char* what, const char* expected, const json& value)
      : std::runtime_error(std::string(what) + " is not " + expected + " but " +
                           value.type_name()) {}
};

// The integer value of a number or a text: 8, "8" and "8 cores" are all 8.
std::int64_t integerValue(const json& value) {
  if (value.is_boolean()) {
    return value.get<bool>() ? 1 : 0;
  }
  if (value.is_number_unsigned() || value.is_number_float()) {
    return PropertyListValue(value.get<double>()).integerValue();
  }
  if (value.is_number_integer()) {
    return value.get<std::int64_t>();
  }
  if (value.is_string()) {
    return PropertyListValue(value.get<std::string>()).integerValue();
  }
  throw UnexpectedKind("sppci_cores", "a number", value);
}

ZDGPUInfo graphicsProcessor(const json& entry) {
  if (!entry.is_object()) {
    throw UnexpectedKind("an entry", "an object", entry);
  }
  ZDGPUInfo info;
  info.modelName = textMember(entry, "sppci_model");
  info.shortModelName = info.modelName;
  info.vendor = textMember(entry, "spdisplays_vendor");
  const auto cores = entry.find("sppci_cores");
  if (cores != entry.end()) {
    info.cores = integerValue(*cores);
  }
  const bool isShared = entry.contains("spdisplays_vram_shared");
  info.vram = textMember(entry, isShared ? "spdisplays_vram_shared" : "spdisplays_vram");
  return info;
}

std::vector<ZDGPUInfo> graphicsProcessors(const json& report) {
  if (!report.is_object()) {
    throw UnexpectedKind("the report", "an object", report);
  }
  std::vector<ZDGPUInfo> infos;
  const auto entries = report.find("SPDisplaysDataType");
  if (entries == report.end()) {
    return infos;
  }
  if (!entries->is_array()) {
    throw UnexpectedKind("SPDisplaysDataType", "an array", *entries);
  }
  for (const json& entry : *entries) {
    infos.push_back(graphicsProcessor(entry));
  }
  return infos;
}

}  // namespace

DisplaysReport parseDisplaysReport(std::string_view text) {
  const auto report = parsedReport(text);
  if (!report) {
    return {};
  }
  try {
    return {.gpuInfos = graphicsProcessors(*report), .failure = std::nullopt};
  } catch (const UnexpectedKind& failure) {
    return {.gpuInfos = std::nullopt, .failure = failure.what()};
  }
}

}  // namespace kelvora
