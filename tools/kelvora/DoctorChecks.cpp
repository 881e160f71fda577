#include "tools/kelvora/DoctorChecks.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVSettingsFile.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/NotificationObserver.h"
#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/SensorController.h"

namespace kelvora::tool {

namespace {

namespace fs = std::filesystem;

constexpr char kStoreFile[] = "Database.sqlite";

// Whether entries can be made in a folder, found out by making one.
bool isWritable(const fs::path& folder) {
  const fs::path probe = folder / ".kelvora-doctor";
  std::error_code error;
  fs::create_directories(probe, error);
  return !error && fs::remove(probe, error);
}

bool pathExists(const fs::path& path) {
  std::error_code error;
  return fs::exists(path, error);
}

// The closest folder above a path that exists.
fs::path existingFolderAbove(const fs::path& path) {
  fs::path folder = path.parent_path();
  while (!pathExists(folder) && folder.has_relative_path()) {
    folder = folder.parent_path();
  }
  return folder;
}

Check folderCheck(const char* name, const std::optional<std::string>& folder) {
  if (!folder) {
    return {name, CheckState::kBroken, "none",
            "give the user a home folder (HOME) that can be written"};
  }
  if (!isWritable(*folder)) {
    return {name, CheckState::kBroken, *folder + ": cannot be written",
            "make it a folder that belongs to the user"};
  }
  return {name, CheckState::kOK, *folder, ""};
}

Check supportFolder(const MachineChoice& machine) {
  return folderCheck("application support", KVUtils::applicationSupportPath(machine.platform));
}

// Only the log file of readings goes there, so its absence breaks nothing.
Check documentsFolder(const MachineChoice& machine) {
  constexpr char kName[] = "documents";
  const auto folder = KVUtils::documentsPath(machine.platform);
  if (!folder || !pathExists(*folder)) {
    return {kName, CheckState::kHint, folder ? *folder + ": missing" : "none",
            "create it, or choose where the log file goes with 'kelvora settings set "
            "fileLoggingPath'"};
  }
  return {kName, CheckState::kOK, *folder, ""};
}

Check groupContainer(const MachineChoice& machine) {
  return folderCheck("group container", KVUtils::groupContainerPath(machine.platform));
}

Check suite(const MachineChoice& machine) {
  constexpr char kName[] = "settings";
  const auto file = settingsFile(machine.platform);
  if (!file) {
    return {kName, CheckState::kOK, std::string(kApplicationGroupIdentifier) + " (the system's)",
            ""};
  }
  if (!isWritable(existingFolderAbove(file->path))) {
    return {kName, CheckState::kBroken, file->path + ": cannot be written",
            "make its folder one that belongs to the user (XDG_CONFIG_HOME)"};
  }
  if (!file->exists) {
    return {kName, CheckState::kOK, file->path + ": none yet, so defaults count", ""};
  }
  if (!file->fault.empty()) {
    return {kName, CheckState::kBroken, file->path + ": " + file->fault,
            "put a good copy in its place; else the next change starts anew and keeps this one "
            "beside"};
  }
  return {kName, CheckState::kOK, file->path, ""};
}

Check storeFile(const MachineChoice& machine) {
  constexpr char kName[] = "store";
  const auto folder = KVUtils::groupContainerPath(machine.platform);
  if (!folder) {
    return {kName, CheckState::kBroken, "none", "see the group container"};
  }
  const std::string file = *folder + "/" + kStoreFile;
  if (!pathExists(file)) {
    return {kName, CheckState::kHint, file + ": none yet",
            "nothing: a program that records readings creates it"};
  }
  return {kName, CheckState::kOK, file, ""};
}

Check sessionBus(const MachineChoice& machine) {
  constexpr char kName[] = "session bus";
  if (!NotificationObserver::reachesOtherPrograms(machine.platform)) {
    return {kName, CheckState::kHint, "none: a change of a setting is not told to other programs",
            "log in to a desktop session, or start the programs under dbus-run-session"};
  }
  return {kName, CheckState::kOK, "reaches the other programs", ""};
}

std::string toolFinding(const std::string& path, const KVFileOwnership& ownership) {
  char mode[16];
  std::snprintf(mode, sizeof mode, "%04o", ownership.permissions);
  return path + ": " + ownership.owner + ":" + ownership.group + ", " + mode;
}

Check privilegedTool(const MachineChoice& machine) {
  constexpr char kName[] = "privileged tool";
  const auto path = KVUtils::smcExePath(machine.platform);
  const auto ownership = KVUtils::smcExeOwnership(machine.platform);
  if (!path || !ownership) {
    return {kName, CheckState::kHint, path.value_or("none") + ": not installed",
            "nothing to read sensors; to control fans, let the application install it"};
  }
  const std::string finding = toolFinding(*path, *ownership);
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
