// kelvora, the command-line host: one reading, the SMC's keys or the inventory of this Mac or of a
// recorded one, and the settings that the product's programs share.

#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/Text.h"

namespace {

using kelvora::tool::Options;

/// What a command takes besides --json, as bits.
enum Takes : unsigned { kNothing = 0, kMachine = 1, kName = 2, kValue = 4 };

struct CommandRow {
  const char* parent;  ///< the command that this one stands under; null for the program itself
  const char* name;
  const char* description;
  const char* example;
  unsigned takes;
  int (*run)(const Options&, kelvora::StandardOutput&);
};

constexpr char kSettings[] = "settings";

// A parent stands above the commands under it.
constexpr CommandRow kCommands[] = {
    {nullptr, "sensors", "Take one reading of every sensor",
     "kelvora sensors --machine iMac19,1\n  kelvora sensors --json | jq '.sensors[].name'",
     kMachine, kelvora::tool::runSensors},
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

void addMachine(CLI::App& command, Options& options) {
  command
      .add_option("--machine", options.machine,
                  "A recorded Mac: a name that 'kelvora machines' lists, or a machine file")
      ->type_name("FILE|NAME")
      ->check([](const std::string& name) {
        return name.empty() ? std::string("needs a file or a name") : std::string();
      });
}

CLI::App& parentOf(CLI::App& app, const CommandRow& row) {
  return row.parent == nullptr ? app : *app.get_subcommand(row.parent);
}

void addCommand(CLI::App& app, const CommandRow& row, Options& options) {
  CLI::App* command = parentOf(app, row).add_subcommand(row.name, row.description);
  command->require_subcommand(0, 1);
  if ((row.takes & kMachine) != 0) {
    addMachine(*command, options);
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

int runChosen(CLI::App& app, const Options& options) {
  kelvora::StandardOutput output;
  const CommandRow* chosen = nullptr;
  for (const CommandRow& row : kCommands) {
    CLI::App& parent = parentOf(app, row);
    if (parent.parsed() && parent.got_subcommand(row.name)) {
      chosen = &row;
    }
  }
  if (chosen == nullptr) {
    throw kelvora::tool::CommandError(kelvora::tool::kExitUsage,
                                      "a command is needed (see kelvora --help)");
  }
  return chosen->run(options, output);
}

// One line, whatever the names and texts in it hold.
int fail(const std::string& line, int status) {
  std::fprintf(stderr, "kelvora: %s\n", kelvora::tool::printable(line).c_str());
  return status;
}

// "kelvora settings set --help", of the command that was named so far.
std::string helpOf(const CLI::App& app) {
  std::string command = app.get_name();
  for (const CLI::App* named = &app; !named->get_subcommands().empty();) {
    named = named->get_subcommands().front();
    command += " " + named->get_name();
  }
  return command + " --help";
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
             "\nExit status: 0; 1 when nothing could be read or written, or something is broken; 2 "
             "for\nwrong usage, a refused value or a bad machine file.\n");
  Options options;
  for (const CommandRow& row : kCommands) {
    addCommand(app, row, options);
  }
  try {
    app.parse(argc, argv);
    return runChosen(app, options);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      return showHelp(app, error);
    }
    return fail(std::string(error.what()) + " (see " + helpOf(app) + ")",
                kelvora::tool::kExitUsage);
  } catch (const kelvora::tool::CommandError& error) {
    return fail(error.what(), error.status);
  } catch (const std::exception& error) {
    return fail(error.what(), kelvora::tool::kExitNothingRead);
  }
}
