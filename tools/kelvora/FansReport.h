#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/StandardOutput.h"

#include "tools/kelvora/Command.h"
#include "tools/kelvora/FanReader.h"
#include "tools/kelvora/FansLeftBehind.h"
#include "tools/kelvora/MachineChoice.h"

namespace kelvora::tool {

/// What was written to the keys of a fan; a member without a value was not written.
struct FanWritten {
  std::optional<bool> isFixed = {};
  std::optional<double> target = {};
  std::optional<double> minimum = {};
};

/// A fan that a command has set or handed back, as it is read afterwards.
struct FanChange {
  FanWritten written;
  FanState read;
};

/// What a command did to fans.
enum class FanEvent : std::uint8_t { kHeld, kHandedBack };

/// Says on standard error which fans their guardians still try to hand back, a line for each.
/// Returns whether none has a fault.
bool reportStuck(const std::vector<KVLeasedFan>& held);

/// Whether the fan is at a fixed speed and no program of the account is known to hold it.
bool isFixedWithoutLease(const FanState& fan);

/// Says of each such fan on standard error how it is handed back.
void reportFixedWithoutLease(const std::vector<FanState>& fans);

/// Writes the list of fans.
void writeFans(const Options& options, StandardOutput& output, const MachineChoice& machine,
               const std::vector<FanState>& fans, const FansLeftBehind& leftBehind);

/// Writes what was done; in JSON on one line if `isOneOfMany`.
void writeChanges(const Options& options, StandardOutput& output, const MachineChoice& machine,
                  FanEvent event, const std::vector<FanChange>& changes, bool isOneOfMany = false);

}  // namespace kelvora::tool
