#include "platforms/recorded/file/MachineFile.h"

#include <system_error>

#include <nlohmann/json.hpp>

#include "base/InputFile.h"
#include "platforms/recorded/file/JSONFile.h"
#include "platforms/recorded/file/MachineFileParts.h"

namespace kelvora::platform {

namespace {

// Far above any recording; keeps hostile files from exhausting memory.
constexpr std::size_t kLargestFileBytes = std::size_t{64} << 20;

Architecture architectureAt(const JSONPlace& place) {
  for (const auto architecture : {Architecture::kIntel, Architecture::kAppleSilicon}) {
    if (place.text() == architectureName(architecture)) {
      return architecture;
    }
  }
  place.refuse(JSONPlace::quoted(place.text()) + " is neither 'x86_64' nor 'arm64'");
}

void readHardware(const JSONPlace& root, RecordedMachine& machine) {
  root.member("smc", [&](const JSONPlace& smc) {
    smc.member("keys", [&](const JSONPlace& keys) { machine.smcKeys = smcKeysAt(keys); });
  });
  root.member("hid", [&](const JSONPlace& hid) { machine.hid = hidServicesAt(hid); });
  root.member("sysctl", [&](const JSONPlace& place) { readSystemControls(place, machine); });
  root.member("registry", [&](const JSONPlace& place) { machine.registry = registryAt(place); });
}

void readSystem(const JSONPlace& root, RecordedMachine& machine) {
  root.member("commands", [&](const JSONPlace& at) { machine.commands = commandsAt(at); });
  root.member("os", [&](const JSONPlace& at) { readOS(at, machine); });
  root.member("host", [&](const JSONPlace& at) { readHost(at, machine); });
  root.member("displays", [&](const JSONPlace& at) { machine.displays = displaysAt(at); });
  root.member("volumes", [&](const JSONPlace& at) { machine.volumes = volumesAt(at); });
  root.member("applications",
              [&](const JSONPlace& at) { machine.applications = applicationsAt(at); });
  root.member("statistics", [&](const JSONPlace& at) { machine.statistics = statisticsAt(at); });
}

[[noreturn]] void refuseUnreadable(const std::string& path, int error) {
  throw MachineFileError(path, "", "cannot be read: " + std::generic_category().message(error));
}

}  // namespace

RecordedMachine machineAt(const JSONPlace& root) {
  requireFormat(root, "kelvora-machine");
  RecordedMachine machine;
  root.requiredMember("architecture", [&](const JSONPlace& place) {
    machine.architecture = architectureAt(place);
  });
  root.member("title", [&](const JSONPlace& title) { machine.title = title.text(); });
  if (machine.title.empty()) {
    machine.title = "Unnamed Mac";
  }
  root.member("notes", [&](const JSONPlace& notes) { machine.notes = notes.text(); });
  readHardware(root, machine);
  readSystem(root, machine);
  return machine;
}

RecordedMachine parseMachine(std::string_view json, const std::string& name) {
  const nlohmann::json value = parsedJSON(json, name);
  return machineAt(JSONPlace(name, value));
}

std::string machineFileText(const std::string& path) {
  InputFile file(path);
  std::string json = file.readAll(kLargestFileBytes);
  if (json.size() > kLargestFileBytes) {
    throw MachineFileError(path, "/", "is larger than 64 MB");
  }
  // A folder opens like a file, and fails only when it is read.
  if (file.error() != 0) {
    refuseUnreadable(path, file.error());
  }
  return json;
}

RecordedMachine readMachineFile(const std::string& path) {
  return parseMachine(machineFileText(path), path);
}

}  // namespace kelvora::platform
