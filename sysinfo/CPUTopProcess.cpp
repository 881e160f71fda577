#include <utility>

#include "KelvoraCore/CPUReader.h"

#include "base/KeyedArchive.h"

namespace kelvora {

namespace {

constexpr const char* kClassName = "CPUTopProcess";

void read(const ArchiveValue& value, std::int64_t& field) {
  if (const auto number = numberOf(value)) {
    field = number->integerValue();
  }
}

void read(const ArchiveValue& value, double& field) {
  if (const auto number = numberOf(value)) {
    field = number->doubleValue();
  }
}

// A text, or one that may be none.
template <typename Text>
void read(const ArchiveValue& value, Text& field) {
  if (const auto* text = value.as<std::string>()) {
    field = *text;
  }
}

template <typename T>
void readField(const ArchiveValue::Object& object, const char* name, T& field) {
  if (const ArchiveValue* value = object.value(name)) {
    read(*value, field);
  }
}

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
  CPUTopProcess process;
  readField(*object, "pid", process.pid);
  readField(*object, "command", process.command);
  readField(*object, "name", process.name);
  readField(*object, "usage", process.usage);
  return process;
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
