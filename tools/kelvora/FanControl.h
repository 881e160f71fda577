#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/FanReader.h"
#include "tools/kelvora/MachineChoice.h"

namespace kelvora::tool {

/// The speeds that a person wrote as "0=3000". Throws CommandError (wrong usage) for another form.
std::vector<KVFanSpeed> parsedFanSpeeds(const std::vector<std::string>& words);
/// Parse one index and one speed; throw the same error.
std::uint64_t parsedFan(const std::string& word);
std::uint64_t parsedSpeed(const std::string& word);

/// The machine of a command that sets fans, with what its fans are now. Main thread only.
class FanControl {
 public:
  /// Chooses the machine and hands back what was left behind, which it reports on standard error.
  /// Throws CommandError for a recorded Mac that only this process would write to, and without an
  /// SMC.
  FanControl(const Options& options, StandardOutput& output);

  const MachineChoice& machine() const { return machine_; }
  SensorController& controller() { return reader_.controller(); }
  bool hasModes() { return reader_.controller().hasFanModes(); }

  /// The fans as they were at the last reading; the constructor makes the first.
  const std::vector<FanState>& fans() const { return fans_; }
  /// One of them. Throws CommandError (wrong usage) when the machine has no such fan.
  const FanState& fan(std::uint64_t index) const;
  void readAgain();

  /// Throws CommandError unless the fans can be set: each exists, once, and its speed is within its
  /// limits; the tool is installed; no other program holds one.
  void requireSettable(const std::vector<KVFanSpeed>& speeds);
  /// Throws CommandError while the privileged tool is not installed.
  void requireTool() const;

 private:
  MachineChoice machine_;
  FanReader reader_;
  std::vector<FanState> fans_;
};

}  // namespace kelvora::tool
