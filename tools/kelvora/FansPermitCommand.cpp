#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVMainQueue.h"
#include "KelvoraCore/KVUtils.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/MachineChoice.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kPermitPause{20};
// A dialog for chmod may still be open.
constexpr std::chrono::seconds kLongestCommands{60};

// Whether the commands that give the rights were started.
bool requested(Platform& platform) {
  std::optional<bool> granted;
  KVUtils::requestSMCPermission(
      [&granted](bool isGranted, const std::optional<std::string>&) { granted = isGranted; },
      platform);
  while (!granted) {
    KVMainQueue::runUntil(Clock::now() + kPermitPause);
  }
  return *granted;
}

// The library does not wait for the commands that give the rights.
bool becomesGranted(Platform& platform) {
  const Clock::time_point end = Clock::now() + kLongestCommands;
  while (!KVUtils::isSMCPermissionGranted(platform) && Clock::now() < end) {
    KVMainQueue::runUntil(Clock::now() + kPermitPause);
  }
  return KVUtils::isSMCPermissionGranted(platform);
}

[[noreturn]] void fail(const std::string& why) { throw CommandError(kExitNothingRead, why); }

// Of a tool that gets rights: through a link they would go to a file elsewhere. A recorded Mac's
// tool can be any file.
bool isFileOfItsOwn(const std::string& path, Platform& platform) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (!platform.isLive()) {
    return !fs::is_directory(path, error);
  }
  const bool isThere = fs::exists(fs::symlink_status(path, error));
  return !isThere || (fs::is_regular_file(fs::symlink_status(path, error)) &&
                      fs::hard_link_count(path, error) == 1);
}

// Installs the tool, and gives it rights where it needs them.
bool permit(Platform& platform, const std::string& path) {
  const bool isRequested = requested(platform);
  if (!isRequested && !isFileOfItsOwn(path, platform)) {
    fail(path + ": is a folder or a link, not a regular file; remove it first");
  }
  if (!KVUtils::smcExeOwnership(platform)) {
    fail(path + ": could not be copied from " +
         KVUtils::smcExeSrcPath(platform).value_or("beside this program"));
  }
  if (!platform.isLive()) {
    return false;
  }
  if (!isRequested) {
    fail(path + ": the rights were refused ('kelvora doctor' says how the tool is)");
  }
  if (!becomesGranted(platform)) {
    fail(path + ": the rights were not given ('kelvora doctor' says how the tool is)");
  }
  return true;
}

int runPermit(const Options& options, StandardOutput& output) {
  const MachineChoice machine = chooseMachineOfFans(options.machine);
  requireMachine(machine);
  const auto path = KVUtils::smcExePath(machine.platform);
  if (!path) {
    fail("this account has no folder for the privileged tool");
  }
  const bool isGranted = permit(machine.platform, *path);
  handBackLeftBehind(machine);
  const bool isNeeded = machine.platform.isLive();
  if (options.json) {
    writeJson(output, {{"machine", jsonMachine(machine.platform)},
                       {"tool", *path},
                       {"needed", isNeeded},
                       {"granted", isGranted}});
  } else {
    writeText(output, printable(*path) + (isNeeded ? ": may write the fans of this computer\n"
                                                   : ": a recorded Mac needs no rights\n"));
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> fansPermitCommands() {
  return {{.parent = "fans",
           .name = "permit",
           .description = "Install the tool that writes the fans, and ask for the rights it needs",
           .example = "kelvora fans permit",
           .machine = MachineUse::kOption,
           .run = runPermit}};
}

}  // namespace kelvora::tool
