// kelvora, the command-line host: one reading, the SMC's keys or the inventory of this Mac or of a
// recorded one, and the settings that the product's programs share.

#include <algorithm>
#include <exception>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/HelpText.h"
#include "tools/kelvora/MachineChoice.h"
#include "tools/kelvora/NearName.h"
#include "tools/kelvora/Report.h"
#include "tools/kelvora/Text.h"

namespace {

using kelvora::tool::Argument;
using kelvora::tool::Command;
using kelvora::tool::CommandError;
using kelvora::tool::kExitUsage;
using kelvora::tool::MachineUse;
using kelvora::tool::Options;

std::vector<Command> allCommands() {
  using List = std::vector<Command> (*)();
  constexpr List kLists[] = {
      kelvora::tool::sensorsCommands,       kelvora::tool::keysCommands,
      kelvora::tool::inventoryCommands,     kelvora::tool::overviewCommands,
      kelvora::tool::usageCommands,         kelvora::tool::topCommands,
      kelvora::tool::networkCommands,       kelvora::tool::machinesCommands,
      kelvora::tool::machineCommands,       kelvora::tool::settingsCommands,
      kelvora::tool::settingsWatchCommands, kelvora::tool::customCommands,
      kelvora::tool::resetCommands,         kelvora::tool::rulesCommands,
      kelvora::tool::fansCommands,          kelvora::tool::fanSetsCommands,
      kelvora::tool::conditionsCommands,    kelvora::tool::doctorCommands,
      kelvora::tool::historyCommands,       kelvora::tool::recordHistoryCommands,
      kelvora::tool::watchCommands,         kelvora::tool::fansPermitCommands};
  std::vector<Command> commands;
  for (const List list : kLists) {
    std::ranges::move(list(), std::back_inserter(commands));
  }
  return commands;
}

std::string footer(const std::string& example) { return "Example:\n  " + example + "\n"; }

void addMachine(CLI::App& command, std::string& machine) {
  command
      .add_option("--machine", machine,
                  "A recorded Mac: a name that 'kelvora machines' lists, or a machine file")
      ->type_name("FILE|NAME")
      ->check([](const std::string& name) {
        return name.empty() ? std::string("needs a file or a name") : std::string();
      });
}

// The help and the errors call an argument by this.
std::string typeNameOf(const Argument& argument) {
  if (!argument.typeName.empty()) {
    return argument.typeName;
  }
  switch (argument.kind) {
    case Argument::Kind::kNumber:
      return "NUMBER";
    case Argument::Kind::kDuration:
      return "DURATION";
    default:
      return argument.choices.empty() ? "TEXT" : "NAME";
  }
}

// A check that changes the word as another one does, and reports its failure as `fault`.
std::function<std::string(std::string&)> inPlainWords(CLI::Validator check, std::string fault) {
  return [check = std::move(check), fault = std::move(fault)](std::string& word) {
    try {
      return check(word).empty() ? std::string() : fault;
    } catch (const CLI::ValidationError&) {
      return fault;
    }
  };
}

CLI::Validator checkOf(const Argument& argument) {
  switch (argument.kind) {
    case Argument::Kind::kNumber:
      return {inPlainWords(CLI::Number, "takes a number, e.g. 5 or 0.5"), ""};
    case Argument::Kind::kDuration:
      return {inPlainWords(
                  CLI::AsNumberWithUnit(
                      std::map<std::string, double>{{"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}},
                      CLI::AsNumberWithUnit::CASE_SENSITIVE),
                  "takes a time, e.g. 90, 10m, 2h or 1d"),
              ""};
    default:
      return {[choices = argument.choices](std::string& word) {
                return choices.empty() || std::ranges::find(choices, word) != choices.end()
                           ? std::string()
                           : "takes " + kelvora::tool::enumerated(choices);
              },
              ""};
  }
}

void addArgument(CLI::App& command, const Argument& argument, Options& options) {
  const auto give = [&options, name = argument.name](const std::vector<std::string>& words) {
    options.give(name, words);
    return true;
  };
  if (argument.kind == Argument::Kind::kFlag) {
    CLI::Option* flag = command.add_flag_callback(
        argument.name, [give] { give({"true"}); }, argument.description);
    if (argument.isInternal) {
      flag->group("");  // the help leaves it out
    }
    return;
  }
  const std::string choices =
      argument.choices.empty() ? "" : ": " + kelvora::tool::enumerated(argument.choices);
  CLI::Option* option = command.add_option(argument.name, give, argument.description + choices);
  option->type_name(typeNameOf(argument))
      ->required(argument.need == Argument::Need::kRequired)
      ->transform(checkOf(argument).description(""));  // the help has the type's name already
  if (argument.kind == Argument::Kind::kTexts) {
    option->expected(1, -1)->allow_extra_args();
  }
}

CLI::App& parentOf(CLI::App& app, const Command& command) {
  return command.parent.empty() ? app : *app.get_subcommand(command.parent);
}

void addCommand(CLI::App& app, const Command& command, Options& options) {
  CLI::App* added = parentOf(app, command).add_subcommand(command.name, command.description);
  added->require_subcommand(0, 1);
  if (command.machine == MachineUse::kOption) {
    addMachine(*added, options.machine);
  }
  for (const Argument& argument : command.arguments) {
    addArgument(*added, argument, options);
  }
  if (command.hasJson) {
    added->add_flag("--json", options.json, "Print JSON");
  }
  added->footer(footer(command.example));
}

const Command& chosen(CLI::App& app, const std::vector<Command>& commands) {
  const Command* chosen = nullptr;
  for (const Command& command : commands) {
    CLI::App& parent = parentOf(app, command);
    if (parent.parsed() && parent.got_subcommand(command.name)) {
      chosen = &command;
    }
  }
  if (chosen == nullptr) {
    throw CommandError(kExitUsage, "a command is needed (see kelvora --help)");
  }
  return *chosen;
}

// The machine may be named before the command or after it.
std::string machineOf(const Command& command, const std::string& before, const std::string& after) {
  if (!before.empty() && command.machine != MachineUse::kOption) {
    throw CommandError(kExitUsage, command.name + " takes no --machine (see kelvora --help)");
  }
  if (!before.empty() && !after.empty()) {
    throw CommandError(kExitUsage, "--machine is given twice (see kelvora --help)");
  }
  return before.empty() ? after : before;
}

int run(const Command& command, const std::string& machine, Options& options) {
  kelvora::StandardOutput output;
  options.machine = machineOf(command, machine, options.machine);
  if (command.machine == MachineUse::kEnvironment) {
    kelvora::tool::useMachineOfEnvironment();
  }
  return command.run(options, output);
}

// One line, whatever the names and texts in it hold.
int fail(const std::string& line, int status) {
  kelvora::tool::say(line);
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
  std::ostringstream text;
  app.exit(request, text, text);
  kelvora::StandardOutput output;
  const auto columns = static_cast<std::size_t>(output.columns());
  return output.write(kelvora::tool::fittedHelp(text.str(), columns))
             ? kelvora::tool::kExitSuccess
             : fail("the help could not be written", kelvora::tool::kExitNothingRead);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Kelvora: sensors and inventory of a Mac, live or recorded.", "kelvora");
  app.set_version_flag("--version", "kelvora " KELVORA_VERSION);
  app.require_subcommand(0, 1);
  app.footer(
      footer("kelvora sensors") +
      "\nEnvironment: KELVORA_MACHINE names a recorded Mac as --machine does.\n"
      "Without either, and without Apple hardware, it is the one that 'kelvora machine' shows.\n"
      "\nExit status: 0; 1 when nothing could be read or written, or something is broken; 2 "
      "for\nwrong usage, a refused value or a bad machine file; 3 when another program does it "
      "already.\n");
  Options options;
  std::string machine;
  addMachine(app, machine);
  const std::vector<Command> commands = allCommands();
  for (const Command& command : commands) {
    addCommand(app, command, options);
  }
  try {
    app.parse(argc, argv);
    return run(chosen(app, commands), machine, options);
  } catch (const CLI::ParseError& error) {
    return error.get_exit_code() == 0 ? showHelp(app, error) : refuse(app, error);
  } catch (const CommandError& error) {
    return fail(error.what(), error.status);
  } catch (const std::exception& error) {
    return fail(error.what(), kelvora::tool::kExitNothingRead);
  }
}
