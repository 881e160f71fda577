#include "tools/kelvora/DoctorChecks.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/SensorController.h"

#include "base/PropertyListFile.h"

namespace kelvora::tool {

namespace {

constexpr char kStoreFile[] = "Database.sqlite";

// Whether entries can be made in a folder, found out by making one.
bool isWritable(Platform& platform, const std::string& folder) {
  const std::string probe = folder + "/.kelvora-doctor";
  return platform.files().createFolder(probe) && platform.files().remove(probe);
}

// The closest folder above a path that stands.
std::string standingFolderAbove(Platform& platform, const std::string& path) {
  std::filesystem::path folder = std::filesystem::path(path).parent_path();
  while (!platform.files().exists(folder.string()) && folder.has_relative_path()) {
    folder = folder.parent_path();
  }
  return folder.string();
}

Check folderCheck(Platform& platform, const char* name, const std::optional<std::string>& folder) {
  if (!folder) {
    return {name, CheckState::kBroken, "none",
            "give the user a home folder (HOME) that can be written"};
  }
  if (!isWritable(platform, *folder)) {
    return {name, CheckState::kBroken, *folder + ": cannot be written",
            "make it a folder that belongs to the user"};
  }
  return {name, CheckState::kOK, *folder, ""};
}

Check supportFolder(const MachineChoice& machine) {
  return folderCheck(machine.platform, "application support",
                     KVUtils::applicationSupportPath(machine.platform));
}

// Only the log file of readings goes there, so its absence breaks nothing.
Check documentsFolder(const MachineChoice& machine) {
  constexpr char kName[] = "documents";
  const auto folder = KVUtils::documentsPath(machine.platform);
  if (!folder || !machine.platform.files().exists(*folder)) {
    return {kName, CheckState::kHint, folder ? *folder + ": missing" : "none",
            "create it, or choose where the log file goes with 'kelvora settings set "
            "fileLoggingPath'"};
  }
  return {kName, CheckState::kOK, *folder, ""};
}

Check groupContainer(const MachineChoice& machine) {
  return folderCheck(machine.platform, "group container",
                     machine.platform.files().groupContainer(kApplicationGroupIdentifier));
}

std::string faultOfSettings(const std::string& file) {
  // Opening a pipe, say, would wait for whoever writes to it.
  if (std::error_code error; !std::filesystem::is_regular_file(file, error)) {
    return "not a file";
  }
  const PropertyListReading reading = readPropertyListFile(file);
  if (!reading.value) {
    return reading.failure;
  }
  return reading.value->as<PropertyListValue::Dictionary>() == nullptr ? "not a dictionary" : "";
}

Check suite(const MachineChoice& machine) {
  constexpr char kName[] = "settings";
  Platform& platform = machine.platform;
  const auto file = platform.userDefaults().fileOfSuite(kApplicationGroupIdentifier);
  if (!file) {
    return {kName, CheckState::kOK, std::string(kApplicationGroupIdentifier) + " (the system's)",
            ""};
  }
  if (!isWritable(platform, standingFolderAbove(platform, *file))) {
    return {kName, CheckState::kBroken, *file + ": cannot be written",
            "make its folder one that belongs to the user (XDG_CONFIG_HOME)"};
  }
  if (!platform.files().exists(*file)) {
    return {kName, CheckState::kOK, *file + ": none yet, so defaults count", ""};
  }
  const std::string fault = faultOfSettings(*file);
  if (!fault.empty()) {
    return {kName, CheckState::kBroken, *file + ": " + fault,
            "put a good copy in its place; else the next change starts anew and keeps this one "
            "beside"};
  }
  return {kName, CheckState::kOK, *file, ""};
}

Check storeFile(const MachineChoice& machine) {
  constexpr char kName[] = "store";
  const auto folder = machine.platform.files().groupContainer(kApplicationGroupIdentifier);
  if (!folder) {
    return {kName, CheckState::kBroken, "none", "see the group container"};
  }
  const std::string file = *folder + "/" + kStoreFile;
  if (!machine.platform.files().exists(file)) {
    return {kName, CheckState::kHint, file + ": none yet",
            "nothing: a program that records readings creates it"};
  }
  return {kName, CheckState::kOK, file, ""};
}

Check sessionBus(const MachineChoice& machine) {
  constexpr char kName[] = "session bus";
  if (!machine.platform.notificationCentres().reachesOtherProcesses()) {
    return {kName, CheckState::kHint, "none: a change of a setting is not told to other programs",
            "log in to a desktop session, or start the programs under dbus-run-session"};
  }
  return {kName, CheckState::kOK, "reaches the other programs", ""};
}

std::string toolFinding(const std::string& path, const platform::FileAttributes& attributes) {
  char mode[16];
  std::snprintf(mode, sizeof mode, "%04o", attributes.posixPermissions);
  return path + ": " + attributes.ownerAccountName + ":" + attributes.groupOwnerAccountName + ", " +
         mode;
}

Check privilegedTool(const MachineChoice& machine) {
  constexpr char kName[] = "privileged tool";
  const auto path = KVUtils::smcExePath(machine.platform);
  const auto attributes = path ? machine.platform.files().attributes(*path) : std::nullopt;
  if (!attributes) {
    return {kName, CheckState::kHint, path.value_or("none") + ": not installed",
            "nothing to read sensors; to control fans, let the application install it"};
  }
  const std::string finding = toolFinding(*path, *attributes);
  if (!KVUtils::isSMCPermissionGranted(machine.platform)) {
    return {kName, CheckState::kHint, finding,
            "to control fans, let the application ask for its permission (root:admin, 6555)"};
  }
  return {kName, CheckState::kOK, finding, ""};
}

// "94 sensors from the SMC, 3 computed"
std::string sourcesText(const SensorList& sensors) {
  struct SourceRow {
    std::uint64_t source;
    const char* words;
  };
  constexpr SourceRow kSources[] = {{SensorSourceSMC, " sensors from the SMC"},
                                    {SensorSourceHID, " sensors from HID services"},
                                    {SensorSourceComputed, " computed"}};
  std::string text;
  for (const SourceRow& row : kSources) {
    const auto count = std::ranges::count_if(
        sensors, [&](const SensorPtr& sensor) { return sensor->sourceType == row.source; });
    if (count > 0) {
      text += (text.empty() ? "" : ", ") + std::to_string(count) + row.words;
    }
  }
  return text;
}

Check machineCheck(const MachineChoice& machine) {
  constexpr char kName[] = "machine";
  SensorController controller;
  const SensorList sensors = controller.getAllSensors();
  const std::string finding = machine.platform.title() +
                              (machine.platform.isLive() ? " (live): " : " (recorded): ") +
                              (sensors.empty() ? "no sensors" : sourcesText(sensors));
  if (sensors.empty()) {
    return {kName, CheckState::kBroken, finding,
            "see what 'kelvora keys' and 'kelvora sensors' say on standard error"};
  }
  if (machine.isStandIn) {
    return {kName, CheckState::kHint, finding,
            "no Apple hardware here: run on a Mac, or choose a recorded one with --machine"};
  }
  return {kName, CheckState::kOK, finding, ""};
}

constexpr Check (*kChecks[])(const MachineChoice&) = {
    supportFolder, documentsFolder, groupContainer, suite,
    storeFile,     sessionBus,      privilegedTool, machineCheck,
};

}  // namespace

std::vector<Check> doctorChecks(const MachineChoice& machine) {
  std::vector<Check> checks;
  for (const auto check : kChecks) {
    checks.push_back(check(machine));
  }
  return checks;
}

}  // namespace kelvora::tool
