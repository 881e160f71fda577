#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "KelvoraCore/StandardOutput.h"

namespace kelvora::tool {

/// Exit statuses of every command.
enum ExitStatus : int {
  kExitSuccess = 0,
  kExitNothingRead = 1,  ///< nothing could be read or written, or something is broken
  kExitUsage = 2,        ///< wrong usage or a bad machine file
};

/// What a command was called with.
struct Options {
  std::string machine;  ///< name or file of a recorded Mac; empty when none was given
  bool json = false;
  std::vector<std::string> keys;  ///< of the sensors to show, e.g. {"TC0P"}; empty for all
  std::string group;  ///< of the sensors to show, a name of `sensorGroupNames()`; or empty
  std::string type;   ///< of the sensors to show, a name of `sensorTypeNames()`; or empty
  std::string name;   ///< of a setting, e.g. "tempUnitCelsius"
  std::string value;  ///< what to set it to, as it was written
};

/// Ends a command with one line on standard error.
class CommandError : public std::runtime_error {
 public:
  CommandError(ExitStatus exitStatus, const std::string& line)
      : std::runtime_error(line), status(exitStatus) {}
  ExitStatus status;
};

/// What `sensors` can be asked for: {"cpu", "gpu", …} and {"temperature", "fan", …}.
std::vector<std::string> sensorGroupNames();
std::vector<std::string> sensorTypeNames();

// The commands. Each writes its report to `output` and returns the exit status; each throws
// CommandError when it cannot.
int runSensors(const Options& options, StandardOutput& output);
int runKeys(const Options& options, StandardOutput& output);
int runInventory(const Options& options, StandardOutput& output);
int runMachines(const Options& options, StandardOutput& output);
int runDoctor(const Options& options, StandardOutput& output);
int runSettings(const Options& options, StandardOutput& output);
int runSettingsGet(const Options& options, StandardOutput& output);
int runSettingsSet(const Options& options, StandardOutput& output);
int runSettingsUnset(const Options& options, StandardOutput& output);
int runSettingsWatch(const Options& options, StandardOutput& output);

}  // namespace kelvora::tool
