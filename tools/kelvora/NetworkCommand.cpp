#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVLocalized.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/ZDSystemMonitor.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/LineGroup.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/SensorText.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

using Text = std::optional<std::string>;

// The public address is empty while the service does not answer.
Text known(const Text& text) { return text.value_or("").empty() ? std::nullopt : text; }

Json jsonOf(const Text& text) { return known(text) ? Json(*text) : Json(nullptr); }

Json jsonOf(const ZDNetworkInfo& info) {
  return {{"ipAddress", jsonOf(info.ipAddress())},
          {"publicIpAddress", jsonOf(info.publicIpAddress())},
          {"hostName", jsonOf(info.hostName())}};
}

LineGroup groupOf(const ZDNetworkInfo& info, Platform& platform) {
  KVSettingsSnapshot settings;
  const KVLocalized::Texts texts(settings, platform);
  LineGroup group;
  const auto add = [&](const char* key, const char* english, const Text& text) {
    group.add(localizedText(key, english, texts), known(text).value_or(kNoValue));
  };
  add("usage-local-address", "Local address", info.ipAddress());
  add("usage-public-address", "Public address", info.publicIpAddress());
  add("usage-host-name", "Host name", info.hostName());
  return group;
}

int runNetwork(const Options& options, StandardOutput& output) {
  const MachineChoice machine = chooseAnyMachine(options.machine);
  const ZDNetworkInfo info = ZDSystemMonitor(machine.platform).networkInfo();
  if (options.json) {
    writeJson(output, {{"machine", jsonMachine(machine.platform)}, {"network", jsonOf(info)}});
  } else {
    const auto columns = static_cast<std::size_t>(output.columns());
    writeText(output,
              machineLine(machine, columns) +
                  textOf(linesOf({groupOf(info, machine.platform)}, columns), Style(output)));
  }
  if (!known(info.ipAddress()) && !known(info.publicIpAddress()) && !known(info.hostName())) {
    throw CommandError(kExitNothingRead,
                       machine.platform.title() + ": no address of the machine could be read");
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> networkCommands() {
  return {{.name = "network",
           .description = "Show the local address, the public address and the host name",
           .example = "kelvora network --json",
           .machine = MachineUse::kOption,
           .run = runNetwork}};
}

}  // namespace kelvora::tool
