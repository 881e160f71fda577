#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVDataManager.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/KVStoreFile.h"
#include "KelvoraCore/KVUtils.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/Notices.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

using Names = std::vector<std::string>;

/// What a reset is about: the settings that have a value, and the entries of the stored objects'
/// folder, both sorted.
struct ResetState {
  Names settings;
  Names files;
};

Names storedSettings() {
  KVSettingsSnapshot settings;
  Names names;
  for (const KVSetting& setting : allSettings()) {
    if (settings.isStored(setting)) {
      names.emplace_back(setting.property);
    }
  }
  std::ranges::sort(names);
  return names;
}

Names entriesOf(const std::string& folder) {
  Names names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    names.push_back(entry->path().filename().string());
  }
  if (error && error != std::errc::no_such_file_or_directory) {
    throw CommandError(kExitNothingRead, folder + ": " + error.message());
  }
  std::ranges::sort(names);
  return names;
}

std::string folderOfStore() { return KVUtils::groupContainerLocation().value_or(""); }

ResetState currentState() { return {storedSettings(), entriesOf(folderOfStore())}; }

Names without(const Names& names, const Names& others) {
  Names rest;
  std::ranges::set_difference(names, others, std::back_inserter(rest));
  return rest;
}

// On standard error, for standard output may be a file.
void requireConfirmation() {
  if (!StandardOutput::isInputTerminal()) {
    throw CommandError(kExitUsage, "reset clears stored data: give --yes, or answer in a terminal");
  }
  std::fputs("Clear the stored sensors, their history, the fan sets and three settings? [y/N] ",
             stderr);
  std::string answer;
  std::getline(std::cin, answer);
  if (answer != "y" && answer != "Y" && answer != "yes") {
    throw CommandError(kExitNothingRead, "nothing was cleared");
  }
}

std::string listed(const Names& names) {
  return names.empty() ? "none" : printable(enumerated(names, " and "));
}

std::string textOf(const ResetState& cleared, const ResetState& left) {
  return "Cleared settings: " + listed(cleared.settings) +
         "\nCleared files:    " + listed(cleared.files) +
         "\nLeft settings:    " + listed(left.settings) +
         "\nLeft files:       " + listed(left.files) +
         "\nFolder:           " + printable(folderOfStore()) +
         "\nPrograms that run now save nothing until they are started again; 'kelvora "
         "record-history' continues in a new store.\n";
}

// A file that exists now may be new: another program may have created it since.
void requireCleared(const ResetState& left) {
  for (const char* setting : {"mainSensor", "menuSensors", "openAtLogin"}) {
    if (std::ranges::binary_search(left.settings, setting)) {
      throw CommandError(
          kExitNothingRead,
          std::string(setting) + ": could not be cleared ('kelvora doctor' says more)");
    }
  }
  const auto file = storeFile();
  if (file && file->exists) {
    throw CommandError(kExitNothingRead,
                       file->path + ": still there, or another program has made a new one");
  }
}

int runReset(const Options& options, StandardOutput& output) {
  if (!options.has("--yes")) {
    requireConfirmation();
  }
  const ResetState before = currentState();
  KVDataManager().clearData();
  sendNotices();
  const ResetState left = currentState();
  const ResetState cleared{without(before.settings, left.settings),
                           without(before.files, left.files)};
  if (options.json) {
    writeJson(output, {{"clearedSettings", cleared.settings},
                       {"clearedFiles", cleared.files},
                       {"leftSettings", left.settings},
                       {"leftFiles", left.files},
                       {"folder", folderOfStore()}});
  } else {
    writeText(output, textOf(cleared, left));
  }
  requireCleared(left);
  return kExitSuccess;
}

}  // namespace

std::vector<Command> resetCommands() {
  return {
      {.name = "reset",
       .description = "Clear the stored sensors, history and fan sets, and three settings",
       .example = "kelvora reset\n  kelvora reset --yes --json",
       .machine = MachineUse::kEnvironment,
       .arguments = {{.name = "--yes", .kind = Argument::Kind::kFlag, .description = "Do not ask"}},
       .run = runReset}};
}

}  // namespace kelvora::tool
