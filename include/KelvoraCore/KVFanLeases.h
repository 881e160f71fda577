#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/Platform.h"

namespace kelvora {

/// A fan that a program of the account has taken out of the system's control.
struct KELVORA_EXPORT KVLeasedFan {
  std::uint64_t fan = 0;               ///< index, 0 to 19
  std::string program;                 ///< the holder's name, e.g. "kelvora"; UTF-8
  std::int64_t processIdentifier = 0;  ///< the holder's
  std::chrono::system_clock::time_point since;
  /// The fan's lower limit before it was raised, e.g. 1200.25, on a machine whose fans have no
  /// mode; else none.
  std::optional<double> minimum;
  bool isLive = false;  ///< a guardian watches the holder, or is handing the fan back
  /// The holder, or a privileged tool that it has started, still runs and may set the fan, also
  /// without a guardian; or another program is handing the fan back just now.
  bool isHolderRunning = false;
  /// E.g. why the fan cannot be handed back; empty on success or if not attempted.
  std::string fault;
};

/// What became of a fan that was to be handed back.
struct KELVORA_EXPORT KVFanHandBack {
  std::uint64_t fan = 0;  ///< index, 0 to 19
  /// Whether the write of its mode, or of the minimum that it had before, succeeded. False without
  /// a fault if there is nothing to hand back, or its mode reads as automatic although the tool
  /// failed.
  bool isWritten = false;
  /// Why it is not handed back, e.g. "F0Md: the privileged tool has not ended in time". Empty on
  /// success, and if there is nothing to hand back: the SMC has no mode for the fan, or the fan has
  /// neither a mode nor a lease of this machine, so what was there before is not known.
  std::string fault;
};

/// The leases of the account, each a file in the folder that the product's programs share, so that
/// the next program finds which fans an ended one had.
class KELVORA_EXPORT KVFanLeases {
 public:
  /// The fans that are leased or were left behind, by index; changes nothing. A lease that cannot
  /// be read has a fault that names its file. Any thread; waits up to a fraction of a second while
  /// a program is taking or handing back a fan.
  static std::vector<KVLeasedFan> leasedFans(Platform& platform = Platform::current());

  /// Hands the fans back that programs have left behind: holder and guardian were killed together,
  /// or the computer lost its power. Returns what was left behind, with a fault for each fan that
  /// is not back now, which a later call tries again. A host calls it when it starts. Leases of
  /// programs that still run are not touched. Runs the privileged tool; takes seconds if the tool
  /// hangs.
  ///
  /// A lease is of one machine. That of another has a fault that says so, and nothing is written;
  /// it is removed if it is of a recorded Mac that is no longer chosen, or came to this Mac with a
  /// copied home folder.
  static std::vector<KVLeasedFan> handBackLeftBehind(Platform& platform = Platform::current());

  /// Hands back the fans that are at a fixed speed though no program is known to hold them, e.g.
  /// because their lease was lost, or a host that called `SensorController::setSpeed` was killed.
  /// Returns one result for each; none where nothing can be written, as the privileged tool is not
  /// installed. A program that is not of this library, and wants its fan so, has to set it again. A
  /// host that sets the fans of its account calls this when it starts, after `handBackLeftBehind`.
  ///
  /// Fans with a lease are not touched, nor any while a guardian of another account runs, whose
  /// leases cannot be read. On a machine whose fans have no mode nothing is known of a fan without
  /// a lease. Any thread; runs the privileged tool, for at most `kLongestHandBack`.
  static std::vector<KVFanHandBack> handBackWithoutLease(Platform& platform = Platform::current());

  /// The limit of `handBack` unless another is given: a tool takes some milliseconds.
  static constexpr std::chrono::milliseconds kLongestHandBack{5'000};

  /// Hands fans back, whoever has set them, with or without a lease: writes automatic mode, or, on
  /// a machine whose fans have no mode, the minimum that the fan's lease names. Leases stay; a
  /// holder that still runs may set its fan again. Returns one result for each of `fans`, in their
  /// order. Any thread.
  ///
  /// A privileged tool runs for each fan, all at the same time, and none is waited for longer than
  /// `limit`, 24 hours at most. One that has not ended by then is left alone, and may still hand
  /// its fan back, also after another program has taken it. So do not repeat this quickly.
  static std::vector<KVFanHandBack> handBack(const std::vector<std::uint64_t>& fans,
                                             std::chrono::milliseconds limit = kLongestHandBack,
                                             Platform& platform = Platform::current());
};

}  // namespace kelvora
