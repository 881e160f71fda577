#include "tools/kelvora/DoctorChecks.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <random>
#include <system_error>

#include "KelvoraCore/HIDWrapper.h"
#include "KelvoraCore/KVApplicationGroup.h"
#include "KelvoraCore/KVCoreDataStore.h"
#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVSetting.h"
#include "KelvoraCore/KVSettingsFile.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVStoreFile.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/NotificationObserver.h"
#include "KelvoraCore/Sensor.h"
#include "KelvoraCore/SensorController.h"

#include "tools/kelvora/FanReader.h"
#include "tools/kelvora/FansLeftBehind.h"
#include "tools/kelvora/FansReport.h"
#include "tools/kelvora/SMCKeyList.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

namespace fs = std::filesystem;

constexpr char kOwnFolder[] = "make it a folder that belongs to the user";

bool pathExists(const fs::path& path) {
  std::error_code error;
  return fs::exists(path, error);
}

bool isFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

std::string unusedName(const std::string& start) {
  std::random_device random;
  return start + "-" + std::to_string(random()) + "-" + std::to_string(random());
}

// Tries to write a new file in a folder, and removes it again. Returns why that fails; empty when
// it works.
std::string faultOfWriting(const fs::path& folder) {
  const fs::path probe = folder / unusedName(".kelvora-doctor");
  std::FILE* const file = std::fopen(probe.c_str(), "wbx");  // never a file that exists
  if (file == nullptr) {
    return std::generic_category().message(errno);
  }
  const std::string content(4096, '.');
  const bool isWritten = std::fwrite(content.data(), 1, content.size(), file) == content.size() &&
                         std::fflush(file) == 0;
  const int fault = errno;
  std::fclose(file);
  std::error_code error;
  fs::remove(probe, error);
  return isWritten ? "" : std::generic_category().message(fault);
}

bool isDanglingLink(const fs::path& path) {
  std::error_code error;
  return fs::is_symlink(fs::symlink_status(path, error)) && !pathExists(path);
}

// The path, else the closest one above it, where something exists, be it a link to nothing.
fs::path occupiedPathAt(fs::path path) {
  while (!pathExists(path) && !isDanglingLink(path) && path.has_relative_path()) {
    path = path.parent_path();
  }
  return path;
}

// Why files cannot be written in a folder, which the programs create where it is missing; empty
// when they can be.
std::string faultOfFolder(const fs::path& folder) {
  const fs::path path = occupiedPathAt(folder);
  if (isDanglingLink(path)) {
    return path.string() + " is a link to nothing";
  }
  return isFolder(path) ? faultOfWriting(path) : path.string() + " is not a folder";
}

Check folderCheck(const char* name, const std::optional<std::string>& folder) {
  if (!folder) {
    return {name, CheckState::kBroken, "none",
            "give the user a home folder (HOME) that can be written"};
  }
  if (const std::string fault = faultOfFolder(*folder); !fault.empty()) {
    return {name, CheckState::kBroken, *folder + ": cannot be written: " + fault, kOwnFolder};
  }
  return {name, CheckState::kOK,
          *folder + (pathExists(*folder) ? "" : ": none yet, created when needed"), ""};
}

Check supportFolder(const MachineChoice& machine) {
  return folderCheck("application support", KVUtils::applicationSupportLocation(machine.platform));
}

// Only the log file of readings goes there, so its absence breaks nothing.
Check documentsFolder(const MachineChoice& machine) {
  constexpr char kName[] = "documents";
  const auto folder = KVUtils::documentsPath(machine.platform);
  if (!folder || !pathExists(*folder)) {
    KVSettingsSnapshot settings;
    if (settings.isStored(*settingOfProperty("fileLoggingPath"))) {
      return {kName, CheckState::kOK,
              (folder ? *folder + ": missing" : "none") + ", and the log file goes elsewhere", ""};
    }
    return {kName, CheckState::kHint, folder ? *folder + ": missing" : "none",
            "create it, or choose where the log file goes with 'kelvora settings set "
            "fileLoggingPath'"};
  }
  return folderCheck(kName, folder);
}

Check groupContainer(const MachineChoice& machine) {
  return folderCheck("group container", KVUtils::groupContainerLocation(machine.platform));
}

Check suite(const MachineChoice& machine) {
  constexpr char kName[] = "settings";
  const auto file = settingsFile(machine.platform);
  if (!file) {
    const std::string finding = std::string(kApplicationGroupIdentifier) + " (the system's)";
    if (!canStoreSettings(machine.platform)) {
      return {kName, CheckState::kBroken, finding + ": cannot be written",
              "give this user the folder Library/Preferences; a program in the sandbox needs the "
              "group's entitlement"};
    }
    return {kName, CheckState::kOK, finding, ""};
  }
  if (const auto fault = faultOfFolder(fs::path(file->target).parent_path()); !fault.empty()) {
    return {kName, CheckState::kBroken, file->path + ": cannot be written: " + fault,
            "make its folder one that belongs to the user (XDG_CONFIG_HOME)"};
  }
  if (!file->obstacle.empty()) {
    return {kName, CheckState::kBroken,
            file->path + ": cannot be written: " + file->obstacle + " is a folder",
            "remove that folder: the programs write a file of this name before each change"};
  }
  if (!file->lockFault.empty()) {
    return {kName, CheckState::kBroken, file->path + ": " + file->lockFault,
            "end the program that holds it, or remove the lock while no program of the product "
            "runs"};
  }
  if (!file->exists) {
    return {kName, CheckState::kOK, file->path + ": none yet, so defaults count", ""};
  }
  if (!file->fault.empty()) {
    return {kName, CheckState::kBroken, file->path + ": " + file->fault,
            "replace it with a good copy; otherwise the next change starts with an empty "
            "file and keeps this one under another name"};
  }
  if (!file->mistyped.empty()) {
    return {kName, CheckState::kBroken,
            file->path + ": of another type: " + enumerated(file->mistyped, " and "),
            "'kelvora settings unset NAME' for each, so that its default is stored again"};
  }
  return {kName, CheckState::kOK, file->path, ""};
}

// Why a link to nothing cannot become a link to a new file.
std::string faultOfLink(const fs::path& link) {
  std::error_code error;
  const fs::path folder = (link.parent_path() / fs::read_symlink(link, error)).parent_path();
  const std::string fault = isFolder(folder) ? faultOfWriting(folder) : "not a folder";
  return fault.empty() ? "" : folder.string() + ": " + fault;
}

Check storeCheck(const MachineChoice& machine) {
  constexpr char kName[] = "store";
  if (KVCoreDataStore(-1, machine.platform).managedObjectModel() == nullptr) {
    return {kName, CheckState::kBroken, "this program has no model of it",
            "install the program again, with its resources beside it"};
  }
  const auto file = storeFile(machine.platform);
  if (!file) {
    return {kName, CheckState::kBroken, "none", "see the group container"};
  }
  if (isDanglingLink(file->path)) {
    if (const std::string fault = faultOfLink(file->path); !fault.empty()) {
      return {kName, CheckState::kBroken, file->path + ": a link to nothing in " + fault,
              kOwnFolder};
    }
  }
  if (!file->exists) {
    return {kName, CheckState::kHint, file->path + ": none yet",
            "nothing: a program that records readings creates it"};
  }
  if (!file->fault.empty()) {
    return {kName, CheckState::kBroken, file->path + ": " + file->fault,
            "end the programs, put a good copy in its place, or move it away to start empty"};
  }
  return {kName, CheckState::kOK, file->path, ""};
}

// Posts a notice that no other program knows, and waits a little for it to come back.
bool hearsItsOwnNotice(Platform& platform) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::seconds kLongestWay{2};
  constexpr std::chrono::milliseconds kStep{5};
  const std::string name = unusedName("KVDoctorNotification");
  bool isHeard = false;
  const NotificationObserver observer(
      name, [&isHeard](const Notification&) { isHeard = true; }, platform);
  KVUtils::broadcastNotification(name, platform);
  const Clock::time_point end = Clock::now() + kLongestWay;
  while (!isHeard && Clock::now() < end) {
    KVMainQueue::runUntil(Clock::now() + kStep);
  }
  return isHeard;
}

Check notices(const MachineChoice& machine) {
  constexpr char kName[] = "notices";
  const bool reachesOthers = NotificationObserver::reachesOtherPrograms(machine.platform);
  if (!hearsItsOwnNotice(machine.platform)) {
    return {kName, CheckState::kBroken, "a notice that was posted did not come back",
            "log out and in again, which restarts what carries notices"};
  }
  if (!reachesOthers) {
    return {kName, CheckState::kHint,
            "no session bus: other programs are not notified of changed settings",
            "log in to a desktop session, or start the programs under dbus-run-session"};
  }
  return {kName, CheckState::kOK, "come back, and reach the other programs", ""};
}

std::string toolFinding(const std::string& path, const KVFileOwnership& ownership) {
  char mode[16];
  std::snprintf(mode, sizeof mode, "%04o", ownership.permissions);
  return path + ": " + ownership.owner + ":" + ownership.group + ", " + mode;
}

Check notInstalled(const std::string& path) {
  return {"privileged tool", CheckState::kHint, path + ": not installed",
          "nothing to read sensors; to control fans, 'kelvora fans permit' installs it"};
}

Check privilegedTool(const MachineChoice& machine) {
  constexpr char kName[] = "privileged tool";
  // The operations below create the folder of the tool.
  const auto folder = KVUtils::applicationSupportLocation(machine.platform);
  if (!folder || !pathExists(*folder)) {
    return notInstalled(folder ? *folder + "/Kelvora SMC" : "none");
  }
  const auto path = KVUtils::smcExePath(machine.platform);
  const auto ownership = KVUtils::smcExeOwnership(machine.platform);
  if (!path || !ownership) {
    return notInstalled(path.value_or("none"));
  }
  const std::string finding = toolFinding(*path, *ownership);
  if (!machine.platform.isLive() && !machine.isInMemory()) {
    return {kName, CheckState::kOK, finding + "; a recorded Mac needs no rights", ""};
  }
  if (!KVUtils::isSMCPermissionGranted(machine.platform)) {
    return {kName, CheckState::kHint, finding,
            "to control fans, 'kelvora fans permit' asks for its permission (root:admin, 6555)"};
  }
  return {kName, CheckState::kOK, finding, ""};
}

Check fanGuardian(const MachineChoice& machine) {
  constexpr char kName[] = "fan guardian";
  const auto path = KVUtils::fanGuardianPath(machine.platform);
  if (!path || !pathExists(*path)) {
    return {kName, CheckState::kHint, path.value_or("none") + ": missing",
            "nothing to read sensors; to control fans, put it there: it comes with this program"};
  }
  return {kName, CheckState::kOK, *path, ""};
}

// "fan 0 by kelvora (process 612); fan 1 by ..."
std::string leaseList(const std::vector<KVLeasedFan>& leases) {
  std::string text;
  for (const KVLeasedFan& lease : leases) {
    text += (text.empty() ? "fan " : "; fan ") + std::to_string(lease.fan) + " by " +
            printable(holderOf(lease)) + (lease.fault.empty() ? "" : ": " + lease.fault);
  }
  return text;
}

// As `leaseList`, then "fan 1 without a lease".
std::string listOf(const FansLeftBehind& left) {
  std::string text = leaseList(left.leased);
  for (const KVFanHandBack& fan : left.withoutLease) {
    text += (text.empty() ? "fan " : "; fan ") + std::to_string(fan.fan) + " without a lease" +
            (fan.fault.empty() ? "" : ": " + fan.fault);
  }
  return text;
}

// "fan 0, fan 1"; empty if there are none.
std::string fixedWithoutLease(Platform& platform, const std::vector<KVLeasedFan>& held) {
  std::string text;
  for (const FanState& fan : FanReader(platform).read(held)) {
    if (isFixedWithoutLease(fan)) {
      text += (text.empty() ? "fan " : ", fan ") + std::to_string(fan.index);
    }
  }
  return text;
}

// What was left behind is handed back. A machine that no other program shares has no leases.
Check leftBehindFans(const MachineChoice& machine) {
  constexpr char kName[] = "fans";
  if (machine.isInMemory()) {
    return {kName, CheckState::kOK, "of a recording, which no program can leave behind", ""};
  }
  const FansLeftBehind left = handBackLeftBehind(machine.platform);
  if (!left.areBack()) {
    return {kName, CheckState::kBroken, "left behind: " + listOf(left),
            "see to the privileged tool ('kelvora fans permit'), then 'kelvora fans' tries again"};
  }
  const auto held = KVFanLeases::leasedFans(machine.platform);
  if (!std::ranges::all_of(held, &std::string::empty, &KVLeasedFan::fault)) {
    return {
        kName, CheckState::kBroken, "not handed back: " + leaseList(held),
        "'kelvora fans auto all' tries; else see to the privileged tool ('kelvora fans permit')"};
  }
  if (const std::string fixed = fixedWithoutLease(machine.platform, held); !fixed.empty()) {
    return {kName, CheckState::kHint, "at a fixed speed, and no lease is known: " + fixed,
            "nothing if another program sets them; else 'kelvora fans auto all' hands them back"};
  }
  return {kName, CheckState::kOK,
          (left.isEmpty() ? "none left behind" : "handed back now, left behind: " + listOf(left)) +
              (held.empty() ? "" : ", held: " + leaseList(held)),
          ""};
}

// The recorded Mac that the account has chosen, whichever machine is checked.
Check choiceCheck(const MachineChoice&) {
  constexpr char kName[] = "recorded Mac";
  try {
    const auto chosen = Platform::choice();
    if (!chosen) {
      return {kName, CheckState::kOK, "none chosen", ""};
    }
    const std::size_t writes = chosen->writes.size();
    return {kName, CheckState::kOK,
            chosen->name + ", chosen in " + chosen->file +
                (writes == 0 ? "" : ", " + std::to_string(writes) + " writes taken"),
            ""};
  } catch (const MachineFileError& error) {
    return {kName, CheckState::kBroken, error.what(),
            "choose again with 'kelvora machine use NAME', or none with 'kelvora machine none'"};
  }
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

Check smcCheck(const MachineChoice&) {
  constexpr char kName[] = "SMC";
  const std::uint32_t count = smcKeyCount();
  if (count == 0) {
    return {kName, CheckState::kHint, "none, or it does not answer",
            "nothing to do if the Mac has none; a sandboxed program has no access"};
  }
  return {kName, CheckState::kOK, std::to_string(count) + " keys", ""};
}

Check hidServices(const MachineChoice& machine) {
  constexpr char kName[] = "HID services";
  const HIDWrapper wrapper(machine.platform);
  const std::vector<std::string> missing = wrapper.missingFunctions();
  if (!missing.empty()) {
    return {kName, CheckState::kBroken,
            "this version of macOS lacks " + enumerated(missing, " and "),
            "nothing here: the library has to learn this version's functions; please report it"};
  }
  const std::size_t count = wrapper.getAllSensors().size();
  return {kName, CheckState::kOK, count == 0 ? "none" : std::to_string(count) + " sensors", ""};
}

constexpr Check (*kChecks[])(const MachineChoice&) = {
    supportFolder, documentsFolder, groupContainer, suite,          storeCheck,
    notices,       privilegedTool,  fanGuardian,    leftBehindFans, choiceCheck,
    smcCheck,      hidServices,     machineCheck,
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
