#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/KVOverviewManager.h"
#include "KelvoraCore/KVSettingsSnapshot.h"
#include "KelvoraCore/ZDSystemDevice.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/InventoryText.h"
#include "tools/kelvora/LineGroup.h"
#include "tools/kelvora/OrNull.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

Json jsonOf(const std::vector<KVOverviewItem>& items) {
  Json list = Json::array();
  for (const KVOverviewItem& item : items) {
    list.push_back({{"title", item.title}, {"value", orNull(item.value)}, {"type", item.type}});
  }
  return list;
}

LineGroup groupOf(const std::vector<KVOverviewItem>& items) {
  LineGroup group;
  for (const KVOverviewItem& item : items) {
    const std::string value = item.value.value_or("");
    group.add(item.title, value.empty() ? kNoValue : value);
  }
  return group;
}

int runOverview(const Options& options, StandardOutput& output) {
  const MachineChoice machine = chooseMachine(options.machine);
  const ZDSystemDevice device(machine.platform);
  KVSettingsSnapshot settings;
  const auto items = KVOverviewManager(device, settings, machine.platform).buildOverviewItems();
  if (options.json) {
    writeJson(output, {{"machine", jsonMachine(machine.platform)}, {"overview", jsonOf(items)}});
  } else {
    const auto columns = static_cast<std::size_t>(output.columns());
    writeText(output, machineLine(machine, columns) +
                          textOf(linesOf({groupOf(items)}, columns), Style(output)));
  }
  requireInventory(device, machine.platform);
  return kExitSuccess;
}

}  // namespace

std::vector<Command> overviewCommands() {
  return {{.name = "overview",
           .description = "Show the machine at a glance, in the language of the settings",
           .example = "kelvora overview --machine Macmini9,1",
           .machine = MachineUse::kOption,
           .run = runOverview}};
}

}  // namespace kelvora::tool
