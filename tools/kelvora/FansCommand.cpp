#include <string>
#include <vector>

#include "tools/kelvora/Command.h"
#include "tools/kelvora/FansCommands.h"
#include "tools/kelvora/FansReport.h"

namespace kelvora::tool {

namespace {

// A machine of this process's memory has no leases, and nothing was left behind on it.
int runFans(const Options& options, StandardOutput& output) {
  const MachineChoice machine = chooseMachineOfFans(options.machine);
  output.discardMessages(!machine.platform.isLive());
  const bool isShared = !machine.isInMemory();
  using Leases = std::vector<KVLeasedFan>;
  const FansLeftBehind leftBehind =
      isShared ? handBackLeftBehind(machine.platform) : FansLeftBehind();
  reportLeftBehind(leftBehind);
  FanReader reader(machine.platform);
  const Leases held = isShared ? KVFanLeases::leasedFans(machine.platform) : Leases();
  const bool comeBack = reportStuck(held);
  const std::vector<FanState> fans = reader.read(held);
  writeFans(options, output, machine, fans, leftBehind);
  if (isShared) {
    reportFixedWithoutLease(fans);
  }
  reader.requireSMC();
  return leftBehind.areBack() && comeBack ? kExitSuccess : kExitNothingRead;
}

const Argument kForTime{.name = "--for",
                        .kind = Argument::Kind::kDuration,
                        .description = "Hand the fans back after this time, e.g. 90, 10m or 2h"};

Argument fanIndex(Argument::Kind kind, const char* description, const char* typeName) {
  return {.name = "INDEX",
          .kind = kind,
          .description = description,
          .need = Argument::Need::kRequired,
          .typeName = typeName};
}

Command ofFans(const char* name, const char* description, const char* example,
               std::vector<Argument> arguments, int (*run)(const Options&, StandardOutput&)) {
  return {.parent = "fans",
          .name = name,
          .description = description,
          .example = example,
          .machine = MachineUse::kOption,
          .arguments = std::move(arguments),
          .run = run};
}

}  // namespace

std::vector<Command> fansCommands() {
  return {
      {.name = "fans",
       .description = "List the fans, or set them; hands back what was left behind",
       .example = "kelvora fans\n"
                  "  kelvora fans set 0 3000\n"
                  "  kelvora fans auto all",
       .machine = MachineUse::kOption,
       .run = runFans},
      ofFans("list", "List the fans: speed, limits, mode, target, and who holds them",
             "kelvora fans list --json", {}, runFans),
      ofFans("hold", "Keep fans at speeds until interrupted; they come back however this ends",
             "kelvora fans hold 0=3000 1=2800 --for 10m",
             {kForTime,
              {.name = "--background",
               .kind = Argument::Kind::kFlag,
               .description = "Return when the fans are held, and hold them in the background"},
              {.name = "--detach",
               .kind = Argument::Kind::kFlag,
               .description = "Be what --background starts",
               .isInternal = true},
              {.name = "FAN",
               .kind = Argument::Kind::kTexts,
               .description = "A fan's index and its revolutions per minute",
               .need = Argument::Need::kRequired,
               .typeName = "INDEX=RPM"}},
             runFansHold),
      ofFans("set", "Set a fan to a speed, which a process in the background then keeps",
             "kelvora fans set 0 3000",
             {fanIndex(Argument::Kind::kText, "The fan's index", "NUMBER"),
              {.name = "RPM",
               .description = "Revolutions per minute",
               .need = Argument::Need::kRequired,
               .typeName = "NUMBER"}},
             runFansSet),
      ofFans("auto", "Hand fans back to the system, whoever holds them", "kelvora fans auto all",
             {fanIndex(Argument::Kind::kTexts, "Fans by their indices, or all", "INDEX|all")},
             runFansAuto),
      ofFans("apply", "Set all fans of a fan set", "kelvora fans apply Quiet",
             {{.name = "FANSET",
               .description = "A fan set's name or identifier",
               .need = Argument::Need::kRequired,
               .typeName = "NAME"}},
             runFansApply)};
}

}  // namespace kelvora::tool
