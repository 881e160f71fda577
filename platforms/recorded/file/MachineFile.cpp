#include "platforms/recorded/file/MachineFile.h"

#include <algorithm>
#include <system_error>

#include <nlohmann/json.hpp>

#include "base/InputFile.h"
#include "base/JSONNesting.h"
#include "platforms/recorded/file/JSONPlace.h"
#include "platforms/recorded/file/MachineFileParts.h"

namespace kelvora::platform {

namespace {

constexpr int kNewestVersion = 1;
// Far above any recording; keeps hostile files from exhausting memory or the stack.
constexpr std::size_t kLargestFileBytes = std::size_t{64} << 20;
constexpr std::size_t kDeepestNesting = 128;

std::string lineAndColumn(std::string_view json, std::size_t byte) {
  const std::string_view before = json.substr(0, byte == 0 ? 0 : byte - 1);
  const auto line = std::count(before.begin(), before.end(), '\n') + 1;
  const std::size_t lineStart =
      before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
  return "line " + std::to_string(line) + ", column " +
         std::to_string(before.size() - lineStart + 1);
}

nlohmann::json parsedJSON(std::string_view json, const std::string& name) {
  if (deepestNesting(json) > kDeepestNesting) {
    throw MachineFileError(name, "/",
                           "is nested deeper than " + std::to_string(kDeepestNesting) + " levels");
  }
  try {
    return nlohmann::json::parse(json);
  } catch (const nlohmann::json::parse_error& error) {
    throw MachineFileError(name, lineAndColumn(json, error.byte), "is not JSON");
  } catch (const nlohmann::json::exception&) {
    throw MachineFileError(name, "/", "holds a number that is too large");
  }
}

void requireFormat(const JSONPlace& root) {
  root.requiredMember("format", [](const JSONPlace& format) {
    if (format.text() != "kelvora-machine") {
      format.refuse(JSONPlace::quoted(format.text()) + " is not 'kelvora-machine'");
    }
  });
  root.requiredMember("version", [](const JSONPlace& version) {
    const auto number = version.integer<std::int64_t>();
    if (number < 1 || number > kNewestVersion) {
      version.refuse(std::to_string(number) + " is not a version that can be read (" +
                     std::to_string(kNewestVersion) + " can)");
    }
  });
}

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

RecordedMachine parseMachine(std::string_view json, const std::string& name) {
  const nlohmann::json value = parsedJSON(json, name);
  const JSONPlace root(name, value);
  requireFormat(root);
  RecordedMachine machine;
  root.requiredMember("architecture", [&](const JSONPlace& place) {
    machine.architecture = architectureAt(place);
  });
  root.member("title", [&](const JSONPlace& title) { machine.title = title.text(); });
  root.member("notes", [&](const JSONPlace& notes) { machine.notes = notes.text(); });
  readHardware(root, machine);
  readSystem(root, machine);
  return machine;
}

RecordedMachine readMachineFile(const std::string& path) {
  InputFile file(path);
  std::string json;
  std::vector<char> block(1 << 16);
  while (const std::size_t count = file.read(block)) {
    json.append(block.data(), count);
    if (json.size() > kLargestFileBytes) {
      throw MachineFileError(path, "/", "is larger than 64 MB");
    }
  }
  // A folder opens like a file, and fails only when it is read.
  if (file.error() != 0) {
    refuseUnreadable(path, file.error());
  }
  return parseMachine(json, path);
}

}  // namespace kelvora::platform
