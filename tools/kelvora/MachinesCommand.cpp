#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "KelvoraCore/Platform.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

std::vector<RecordedMac> recordedMacs() {
  try {
    return Platform::recordedMacs();
  } catch (const MachineFileError& error) {
    throw CommandError(kExitUsage, error.what());
  }
}

int runMachines(const Options& options, StandardOutput& output) {
  const std::vector<RecordedMac> macs = recordedMacs();
  if (macs.empty()) {
    throw CommandError(kExitNothingRead, "this program carries no recorded Macs");
  }
  const Style style(output);
  Json list = Json::array();
  std::string text;
  for (const RecordedMac& mac : macs) {
    const char* architecture = architectureName(mac.architecture);
    list.push_back({{"name", mac.name},
                    {"title", mac.title},
                    {"architecture", architecture},
                    {"notes", mac.notes},
                    {"path", mac.path}});
    text += style.heading(fitted(mac.name, 16)) + fitted(printable(mac.title), 26) +
            style.faint(architecture) + "\n";
  }
  if (options.json) {
    writeJson(output, {{"machines", list}});
  } else {
    writeText(output, text);
  }
  return kExitSuccess;
}

}  // namespace

std::vector<Command> machinesCommands() {
  return {{.name = "machines",
           .description = "List the recorded Macs that --machine knows by name",
           .example = "kelvora machines --json",
           .run = runMachines}};
}

}  // namespace kelvora::tool
