#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KelvoraCore/StandardOutput.h"

namespace kelvora::tool {

/// Exit statuses of every command.
enum ExitStatus : int {
  kExitSuccess = 0,
  kExitNothingRead = 1,  ///< nothing could be read or written, or something is broken
  kExitUsage = 2,        ///< wrong usage or a bad machine file
  kExitElsewhere = 3,    ///< another program is doing it already
};

/// Ends a command with one line on standard error.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitStatus exitStatus, const std::string& line)
      : std::runtime_error(line), status(exitStatus) {}
  ExitStatus status;
};

/// One argument of a command, besides --json and --machine.
struct Argument {
  enum class Kind : std::uint8_t {
    kFlag,
    kText,
    kTexts,     ///< any number of texts; only in the last place
    kNumber,    ///< e.g. "12.5"
    kDuration,  ///< seconds, or with a unit: "90", "10m", "2h", "1d"
  };
  enum class Need : std::uint8_t { kOptional, kRequired };

  std::string name;  ///< "--group" for an option, "KEY" for a word in its place
  Kind kind = Kind::kText;
  std::string description;
  Need need = Need::kOptional;
  std::string typeName = {};              ///< in the help, e.g. "FILE"; empty for the kind's own
  std::vector<std::string> choices = {};  ///< what it takes; empty for anything
  bool isInternal = false;  ///< for the program itself, so that the help does not show it
};

/// What a command was called with. An argument that was not given is empty, false or none.
class Options {
 public:
  std::string machine;  ///< name or file of a recorded Mac; empty when none was given
  bool json = false;

  bool has(std::string_view name) const { return given_.contains(name); }
  std::string text(std::string_view name) const;
  std::vector<std::string> texts(std::string_view name) const;
  std::optional<double> number(std::string_view name) const;
  std::optional<double> seconds(std::string_view name) const { return number(name); }

  /// For the parser: the words of an argument that was given; numbers and durations as decimal
  /// numbers.
  void give(const std::string& name, std::vector<std::string> words) {
    given_.insert_or_assign(name, std::move(words));
  }

 private:
  std::map<std::string, std::vector<std::string>, std::less<>> given_;
};

/// How a command finds its machine.
enum class MachineUse : std::uint8_t {
  kNone,
  kOption,       ///< it takes --machine, and calls chooseMachine
  kEnvironment,  ///< the machine that KELVORA_MACHINE names, else the live one
};

/// A command and its arguments.
struct Command {
  std::string parent = {};  ///< the command that this one belongs to; empty for the program itself
  std::string name;
  std::string description;
  std::string example;  ///< one or more lines, the second and later ones indented by two blanks
  MachineUse machine = MachineUse::kNone;
  bool hasJson = true;  ///< it takes --json
  std::vector<Argument> arguments = {};
  /// Writes its report to the output and returns the exit status. Throws CommandError when it
  /// cannot.
  int (*run)(const Options&, StandardOutput&) = nullptr;
};

// The commands; a parent comes before its own.
std::vector<Command> sensorsCommands();
std::vector<Command> keysCommands();
std::vector<Command> inventoryCommands();
std::vector<Command> overviewCommands();
std::vector<Command> usageCommands();
std::vector<Command> topCommands();
std::vector<Command> networkCommands();
std::vector<Command> machinesCommands();
std::vector<Command> machineCommands();
std::vector<Command> settingsCommands();
std::vector<Command> settingsWatchCommands();
std::vector<Command> customCommands();
std::vector<Command> resetCommands();
std::vector<Command> rulesCommands();
std::vector<Command> fansCommands();
std::vector<Command> fanSetsCommands();
std::vector<Command> fansPermitCommands();
std::vector<Command> conditionsCommands();
std::vector<Command> doctorCommands();
std::vector<Command> historyCommands();
std::vector<Command> recordHistoryCommands();
std::vector<Command> watchCommands();

}  // namespace kelvora::tool
