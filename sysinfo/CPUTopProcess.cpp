#include <utility>

#include "KelvoraCore/CPUReader.h"

#include "base/ArchivedField.h"
#include "base/KeyedArchive.h"

namespace kelvora {

namespace {

constexpr const char* kClassName = "CPUTopProcess";

ArchiveValue objectOf(const CPUTopProcess& process) {
  return ArchiveValue::Object(
      kClassName, {{"pid", process.pid},
                   {"command", process.command},
                   {"name", process.name ? ArchiveValue(*process.name) : ArchiveValue()},
                   {"usage", process.usage}});
}

std::optional<CPUTopProcess> processOf(const ArchiveValue& value) {
  const auto* object = value.as<ArchiveValue::Object>();
  if (object == nullptr) {
    return std::nullopt;
  }
  return CPUTopProcess{.pid = archivedField<std::int64_t>(*object, "pid").value_or(0),
                       .command = archivedField<std::string>(*object, "command").value_or(""),
                       .name = archivedField<std::string>(*object, "name"),
                       .usage = archivedField<double>(*object, "usage").value_or(0)};
}

}  // namespace

std::vector<std::byte> archiveOfTopProcess(const CPUTopProcess& process) {
  return keyedArchive(objectOf(process));
}

std::vector<std::byte> archiveOfTopProcesses(const std::vector<CPUTopProcess>& processes) {
  ArchiveValue::Array list;
  for (const CPUTopProcess& process : processes) {
    list.push_back(objectOf(process));
  }
  return keyedArchive(list);
}

std::optional<CPUTopProcess> topProcessInArchive(std::span<const std::byte> bytes) {
  const auto root = readKeyedArchive(bytes, {kClassName, "NSNumber", "NSString"});
  return root ? processOf(*root) : std::nullopt;
}

std::optional<std::vector<CPUTopProcess>> topProcessesInArchive(std::span<const std::byte> bytes) {
  const auto root = readKeyedArchive(bytes, {"NSArray", kClassName, "NSNumber", "NSString"});
  const auto* list = root ? root->as<ArchiveValue::Array>() : nullptr;
  if (list == nullptr) {
    return std::nullopt;
  }
  std::vector<CPUTopProcess> processes;
  for (const ArchiveValue& item : *list) {
    auto process = processOf(item);
    if (!process) {
      return std::nullopt;
    }
    processes.push_back(*std::move(process));
  }
  return processes;
}

}  // namespace kelvora
