#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/Platform.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/FanChangeLock.h"
#include "tools/kelvora/FansLeftBehind.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

// For another command that changes the fans.
constexpr std::chrono::seconds kLongestWaitForFans{5};

Json jsonChoice(const ChosenMac& chosen) {
  Json writes = Json::array();
  for (const RecordedWrite& write : chosen.writes) {
    writes.push_back({{"key", write.key}, {"bytes", write.bytes}});
  }
  return {{"name", chosen.name},
          {"title", chosen.title},
          {"architecture", architectureName(chosen.architecture)},
          {"notes", chosen.notes},
          {"file", chosen.file},
          {"writes", std::move(writes)}};
}

// A title may be empty.
std::string headOf(const ChosenMac& chosen, const Style& style) {
  const std::string name = printable(chosen.name);
  return style.heading(chosen.title.empty() ? name : printable(chosen.title) + " (" + name + ")") +
         "\n";
}

std::string textOf(const std::optional<ChosenMac>& chosen, bool isUsed, const Style& style) {
  if (!chosen) {
    return "no recorded Mac is chosen\n";
  }
  std::string text = headOf(*chosen, style) + "chosen in " + printable(chosen->file) + "\n";
  if (!isUsed) {
    text += "not used: this computer has its own sensors\n";
  }
  for (const RecordedWrite& write : chosen->writes) {
    text += "written: " + printable(write.key) + " " + write.bytes + "\n";
  }
  return text;
}

void show(const Options& options, StandardOutput& output) {
  const auto chosen = Platform::choice();
  const bool isUsed = chosen && !Platform::live()->hasSensorHardware();
  if (options.json) {
    writeJson(output, {{"choice", chosen ? jsonChoice(*chosen) : Json(nullptr)}, {"used", isUsed}});
  } else {
    writeText(output, textOf(chosen, isUsed, Style(output)));
  }
}

// A bad machine is wrong usage; a choice that cannot be stored or removed is something broken.
CommandError errorOf(const MachineFileError& error) {
  const bool isChoice = error.file() == Platform::choiceFile().value_or("");
  return {isChoice ? kExitNothingRead : kExitUsage, error.what()};
}

int runShow(const Options& options, StandardOutput& output) {
  try {
    show(options, output);
  } catch (const MachineFileError& error) {
    throw CommandError(kExitUsage, error.what());
  }
  return kExitSuccess;
}

bool hasUsableChoice() {
  try {
    return Platform::choice().has_value();
  } catch (const MachineFileError&) {
    return false;  // its fans cannot be handed back: it may always be replaced
  }
}

// The speeds of its fans would go with the choice, under who holds them. Until the result is gone
// no other command lets a program take a fan.
std::unique_ptr<FanChangeLock> requireNoHolder(Platform& live) {
  if (live.hasSensorHardware() || !hasUsableChoice()) {
    return nullptr;
  }
  auto lock = std::make_unique<FanChangeLock>(live, kLongestWaitForFans);
  for (const KVLeasedFan& lease : KVFanLeases::leasedFans(live)) {
    if (lease.isLive || lease.isHolderRunning) {
      throw CommandError(kExitElsewhere,
                         "fan " + std::to_string(lease.fan) + ": held by " + holderOf(lease) +
                             (lease.isLive ? "; 'kelvora fans auto all' hands it back"
                                           : ", which, or whose privileged tool, still runs "
                                             "without a guardian"));
    }
  }
  return lock;
}

int runUseMachine(const Options& options, StandardOutput& output) {
  try {
    const auto live = Platform::live();
    const auto lock = requireNoHolder(*live);
    Platform::choose(options.text("MACHINE"));
    show(options, output);
  } catch (const MachineFileError& error) {
    throw errorOf(error);
  }
  return kExitSuccess;
}

int runNone(const Options& options, StandardOutput& output) {
  try {
    const auto live = Platform::live();
    const auto lock = requireNoHolder(*live);
    Platform::chooseNone();
    show(options, output);
  } catch (const MachineFileError& error) {
    throw errorOf(error);
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> machineCommands() {
  return {{.name = "machine",
           .description = "Show which recorded Mac this account has chosen, and what was written "
                          "to it",
           .example = "kelvora machine use iMac19,1\n"
                      "  kelvora machine --json | jq .choice.writes",
           .run = runShow},
          {.parent = "machine",
           .name = "use",
           .description = "Choose a recorded Mac for all programs of this account, where there is "
                          "no Apple hardware",
           .example = "kelvora machine use MacBookPro15,1",
           .arguments = {{.name = "MACHINE",
                          .description = "A name that 'kelvora machines' lists, or a machine file",
                          .need = Argument::Need::kRequired,
                          .typeName = "FILE|NAME"}},
           .run = runUseMachine},
          {.parent = "machine",
           .name = "none",
           .description = "Choose none again",
           .example = "kelvora machine none",
           .run = runNone}};
}

}  // namespace kelvora::tool
