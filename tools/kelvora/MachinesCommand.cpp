#include <string>
#include <vector>

#include "platforms/recorded/file/MachineFile.h"
#include "tools/kelvora/Command.h"
#include "tools/kelvora/MachineChoice.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace kelvora::tool {

namespace {

platform::RecordedMachine recordedMachine(const CarriedMachine& machine) {
  try {
    return platform::readMachineFile(machine.path);
  } catch (const platform::MachineFileError& error) {
    throw CommandError(kExitUsage, error.what());
  }
}

}  // namespace

int runMachines(const Options& options, StandardOutput& output) {
  const auto live = Platform::live();
  const std::vector<CarriedMachine> machines = carriedMachines(*live);
  if (machines.empty()) {
    throw CommandError(kExitNothingRead, "this program carries no recorded Macs");
  }
  const Style style(output);
  Json list = Json::array();
  std::string text;
  for (const CarriedMachine& machine : machines) {
    const platform::RecordedMachine recorded = recordedMachine(machine);
    const char* architecture = architectureName(recorded.architecture);
    list.push_back({{"name", machine.name},
                    {"title", recorded.title},
                    {"architecture", architecture},
                    {"notes", recorded.notes},
                    {"path", machine.path}});
    text += style.heading(fitted(machine.name, 16)) + fitted(printable(recorded.title), 26) +
            style.faint(architecture) + "\n";
  }
  if (options.json) {
    writeJson(output, {{"machines", list}});
  } else {
    writeText(output, text);
  }
  return kExitSuccess;
}

}  // namespace kelvora::tool
