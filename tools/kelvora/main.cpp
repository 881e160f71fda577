// kelvora, the command-line host: one reading, the SMC's keys or the inventory of this Mac or of a
// recorded one, and the settings that the product's programs share.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/MachineChoice.h"
#include "tools/kelvora/NearName.h"
#include "tools/kelvora/Text.h"

namespace {

using kelvora::tool::CommandError;
using kelvora::tool::kExitUsage;
using kelvora::tool::Options;

/// What a command takes besides --json, as bits.
enum Takes : unsigned { kNothing = 0, kMachine = 1, kName = 2, kValue = 4, kSensors = 8 };

struct CommandRow {
  const char* parent;  ///< the command that this one belongs to; null for the program itself
  const char* name;
  const char* description;
  const char* example;
  unsigned takes;
  int (*run)(const Options&, kelvora::StandardOutput&);
};

constexpr char kSettings[] = "settings";

// A parent comes before its commands.
constexpr CommandRow kCommands[] = {
    {nullptr, "sensors", "Take one reading of every sensor",
     "kelvora sensors --machine iMac19,1\n  kelvora sensors TC0P --json | jq '.sensors[].value'\n"
     "  kelvora sensors --group gpu --type temperature",
     kMachine | kSensors, kelvora::tool::runSensors},
    {nullptr, "keys", "List every SMC key by its index", "kelvora keys --machine Macmini8,1",
     kMachine, kelvora::tool::runKeys},
    {nullptr, "inventory", "Show what the machine is made of",
     "kelvora inventory --machine ./my-mac.json", kMachine, kelvora::tool::runInventory},
    {nullptr, "machines", "List the recorded Macs that --machine knows by name",
     "kelvora machines --json", kNothing, kelvora::tool::runMachines},
    {nullptr, kSettings, "List the settings that the programs share, or change one",
     "kelvora settings\n  kelvora settings set tempUnitCelsius false", kNothing,
     kelvora::tool::runSettings},
    {nullptr, "doctor", "Check what the programs need here, and say what to do about it",
     "kelvora doctor\n  kelvora doctor --json | jq '.checks[] | select(.state != \"ok\")'",
     kMachine, kelvora::tool::runDoctor},
    {kSettings, "get", "Show the value of one setting", "kelvora settings get updateFrequency",
     kName, kelvora::tool::runSettingsGet},
    {kSettings, "set", "Change a setting, in every program that runs",
     "kelvora settings set currentLanguage de\n"
     "  kelvora settings set menuSensors '[\"TC0P\", \"AverageCPU\"]'",
     kName | kValue, kelvora::tool::runSettingsSet},
    {kSettings, "unset", "Forget the value of a setting, so that its default counts",
     "kelvora settings unset fileLoggingPath", kName, kelvora::tool::runSettingsUnset},
    {kSettings, "watch", "Print the notices between the programs as they come, until interrupted",
     "kelvora settings watch --json", kNothing, kelvora::tool::runSettingsWatch},
};

std::string footer(const char* example) { return std::string("Example:\n  ") + example + "\n"; }

void addMachine(CLI::App& command, std::string& machine) {
  command
      .add_option("--machine", machine,
                  "A recorded Mac: a name that 'kelvora machines' lists, or a machine file")
      ->type_name("FILE|NAME")
      ->check([](const std::string& name) {
        return name.empty() ? std::string("needs a file or a name") : std::string();
      });
}

void addFilter(CLI::App& command, const char* option, std::string& value,
               const std::vector<std::string>& names) {
  command.add_option(option, value, "Only those of one kind: " + kelvora::tool::enumerated(names))
      ->type_name("NAME")
      ->check([names](const std::string& name) {
        return std::ranges::find(names, name) == names.end()
                   ? "takes " + kelvora::tool::enumerated(names)
                   : std::string();
      });
}

void addSensorFilters(CLI::App& command, Options& options) {
  command.add_option("KEY", options.keys, "Only the sensors with these keys, e.g. TC0P");
  addFilter(command, "--group", options.group, kelvora::tool::sensorGroupNames());
  addFilter(command, "--type", options.type, kelvora::tool::sensorTypeNames());
}

CLI::App& parentOf(CLI::App& app, const CommandRow& row) {
  return row.parent == nullptr ? app : *app.get_subcommand(row.parent);
}

void addCommand(CLI::App& app, const CommandRow& row, Options& options) {
  CLI::App* command = parentOf(app, row).add_subcommand(row.name, row.description);
  command->require_subcommand(0, 1);
  if ((row.takes & kMachine) != 0) {
    addMachine(*command, options.machine);
  }
  if ((row.takes & kSensors) != 0) {
    addSensorFilters(*command, options);
  }
  if ((row.takes & kName) != 0) {
    command->add_option("NAME", options.name, "A setting that 'kelvora settings' lists")
        ->required();
  }
  if ((row.takes & kValue) != 0) {
    command->add_option("VALUE", options.value, "What to set it to")->required();
  }
  command->add_flag("--json", options.json, "Print JSON");
  command->footer(footer(row.example));
}

const CommandRow& chosenRow(CLI::App& app) {
  const CommandRow* chosen = nullptr;
  for (const CommandRow& row : kCommands) {
    CLI::App& parent = parentOf(app, row);
    if (parent.parsed() && parent.got_subcommand(row.name)) {
      chosen = &row;
    }
  }
  if (chosen == nullptr) {
    throw CommandError(kExitUsage, "a command is needed (see kelvora --help)");
  }
  return *chosen;
}

// The machine may be named before the command or after it.
std::string machineOf(const CommandRow& row, const std::string& before, const std::string& after) {
  if (!before.empty() && (row.takes & kMachine) == 0) {
    throw CommandError(kExitUsage,
                       std::string(row.name) + " takes no --machine (see kelvora --help)");
  }
  if (!before.empty() && !after.empty()) {
    throw CommandError(kExitUsage, "--machine is given twice (see kelvora --help)");
  }
  return before.empty() ? after : before;
}

int runChosen(CLI::App& app, const std::string& machine, Options& options) {
  kelvora::StandardOutput output;
  const CommandRow& row = chosenRow(app);
  options.machine = machineOf(row, machine, options.machine);
  if (row.parent != nullptr || row.name == std::string(kSettings)) {
    kelvora::tool::useMachineOfEnvironment();
  }
  return row.run(options, output);
}

// One line, whatever the names and texts in it hold.
int fail(const std::string& line, int status) {
  std::fprintf(stderr, "kelvora: %s\n", kelvora::tool::printable(line).c_str());
  return status;
}

// The command that was named so far, or the program.
const CLI::App& namedCommand(const CLI::App& app) {
  const auto named = app.get_subcommands();
  return named.empty() ? app : namedCommand(*named.front());
}

// "kelvora settings set"
std::string fullName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return (parent == nullptr ? "" : fullName(*parent) + " ") + command.get_name();
}

// The word in the place of a command; none when no command can be in that place, or no word is.
std::optional<std::string> unknownCommand(const CLI::App& app) {
  const std::vector<std::string> words = app.remaining(/*recurse=*/true);
  const bool hasCommands = !namedCommand(app).get_subcommands(nullptr).empty();
  const bool isWord = hasCommands && !words.empty() && !words.front().starts_with("-");
  return isWord ? std::optional(words.front()) : std::nullopt;
}

std::string textOfUnknownCommand(const std::string& word, const CLI::App& named) {
  std::vector<std::string> names;
  for (const CLI::App* command : named.get_subcommands(nullptr)) {
    names.push_back(command->get_name());
  }
  const auto near = kelvora::tool::nearName(word, names);
  return word + ": no such command" + (near ? "; did you mean " + *near + "?" : "");
}

int refuse(const CLI::App& app, const CLI::ParseError& error) {
  const CLI::App& named = namedCommand(app);
  const auto word = unknownCommand(app);
  const std::string text = word ? textOfUnknownCommand(*word, named) : error.what();
  return fail(text + " (see " + fullName(named) + " --help)", kExitUsage);
}

int showHelp(const CLI::App& app, const CLI::ParseError& request) {
  app.exit(request);
  return std::cout.flush() ? kelvora::tool::kExitSuccess
                           : fail("the help could not be written", kelvora::tool::kExitNothingRead);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Kelvora: sensors and inventory of a Mac, live or recorded.", "kelvora");
  app.set_version_flag("--version", "kelvora " KELVORA_VERSION);
  app.require_subcommand(0, 1);
  app.footer(footer("kelvora sensors") +
             "\nEnvironment: KELVORA_MACHINE names a recorded Mac as --machine does.\n"
             "\nExit status: 0; 1 when nothing could be read or written, or something is broken; 2 "
             "for\nwrong usage, a refused value or a bad machine file.\n");
  Options options;
  std::string machine;
  addMachine(app, machine);
  for (const CommandRow& row : kCommands) {
    addCommand(app, row, options);
  }
  try {
    app.parse(argc, argv);
    return runChosen(app, machine, options);
  } catch (const CLI::ParseError& error) {
    return error.get_exit_code() == 0 ? showHelp(app, error) : refuse(app, error);
  } catch (const CommandError& error) {
    return fail(error.what(), error.status);
  } catch (const std::exception& error) {
    return fail(error.what(), kelvora::tool::kExitNothingRead);
  }
}
