// kelvora, the command-line host: one reading, the SMC's keys or the inventory of this Mac or of a
// recorded one.

#include <cstdio>
#include <exception>
#include <string>

#include <CLI/CLI.hpp>

#include "platform/StandardOutput.h"
#include "tools/kelvora/Command.h"

namespace {

using kelvora::tool::Options;

struct CommandRow {
  const char* name;
  const char* description;
  const char* example;
  bool takesMachine;
  int (*run)(const Options&, kelvora::platform::StandardOutput&);
};

constexpr CommandRow kCommands[] = {
    {"sensors", "Take one reading of every sensor",
     "kelvora sensors --machine iMac19,1\n  kelvora sensors --json | jq '.sensors[].name'", true,
     kelvora::tool::runSensors},
    {"keys", "List every SMC key by its index", "kelvora keys --machine Macmini8,1", true,
     kelvora::tool::runKeys},
    {"inventory", "Show what the machine is made of", "kelvora inventory --machine ./my-mac.json",
     true, kelvora::tool::runInventory},
    {"machines", "List the recorded Macs that --machine knows by name", "kelvora machines --json",
     false, kelvora::tool::runMachines},
};

std::string footer(const char* example) { return std::string("Example:\n  ") + example + "\n"; }

void addCommand(CLI::App& app, const CommandRow& row, Options& options) {
  CLI::App* command = app.add_subcommand(row.name, row.description);
  if (row.takesMachine) {
    command
        ->add_option("--machine", options.machine,
                     "A recorded Mac: a name that 'kelvora machines' lists, or a machine file")
        ->type_name("FILE|NAME")
        ->check([](const std::string& name) {
          return name.empty() ? std::string("needs a file or a name") : std::string();
        });
  }
  command->add_flag("--json", options.json, "Print JSON");
  command->footer(footer(row.example));
}

int runChosen(const CLI::App& app, const Options& options) {
  kelvora::platform::StandardOutput output;
  for (const CommandRow& row : kCommands) {
    if (app.got_subcommand(row.name)) {
      return row.run(options, output);
    }
  }
  throw kelvora::tool::CommandError(kelvora::tool::kExitUsage,
                                    "a command is needed (see kelvora --help)");
}

int fail(const std::string& line, int status) {
  std::fprintf(stderr, "kelvora: %s\n", line.c_str());
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Kelvora: sensors and inventory of a Mac, live or recorded.", "kelvora");
  app.set_version_flag("--version", "kelvora " KELVORA_VERSION);
  app.require_subcommand(0, 1);
  app.footer(footer("kelvora sensors") +
             "\nExit status: 0; 1 when nothing could be read; 2 for wrong usage or a bad machine "
             "file.\n");
  Options options;
  for (const CommandRow& row : kCommands) {
    addCommand(app, row, options);
  }
  try {
    app.parse(argc, argv);
    return runChosen(app, options);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
      return app.exit(error);
    }
    return fail(std::string(error.what()) + " (see kelvora --help)", kelvora::tool::kExitUsage);
  } catch (const kelvora::tool::CommandError& error) {
    return fail(error.what(), error.status);
  } catch (const std::exception& error) {
    return fail(error.what(), kelvora::tool::kExitNothingRead);
  }
}
