#pragma once

#include <cstdint>
#include <span>

namespace kelvora {

// The rules by which a fan is taken out of the system's control and handed back. The holder and its
// guardian are two processes with a channel between them; each follows its own table. The tables
// are data: the programs run them, the document shows them, and a test walks every order of events
// through them.

enum class HolderState : std::uint8_t {
  kIdle,         ///< nothing was written
  kStarting,     ///< the guardian was started and has not said "ready"
  kTaking,       ///< the tool writes the speeds
  kHeld,         ///< the fans have the holder's speeds
  kHandingBack,  ///< the tool writes automatic control, until a write succeeds
  kEnding,       ///< the channel is closed; the guardian still hands back, and ends
  kEnded,        ///< the fans are the system's
};

enum class HolderEvent : std::uint8_t {
  kTakeAsked,
  kReady,            ///< the guardian has the fans' locks, and the lease is on the disk
  kRefused,          ///< the guardian cannot guard, e.g. because another program holds a fan
  kTaken,            ///< every write of the take succeeded
  kTakeFailed,       ///< one failed; it may have taken effect
  kRenewalDue,       ///< the host says that it still runs
  kReleaseAsked,     ///< the host wants the fans handed back
  kGuardianExpired,  ///< the guardian says that renewals did not come in time
  kGuardianSilent,   ///< a renewal was not answered in time
  kGuardianGone,     ///< the channel has ended
  kHandedBack,       ///< each fan's own write of automatic control succeeded
  kHandBackFailed,
};

enum class HolderAction : std::uint8_t {
  kNothing,
  kStartGuardian,
  kTake,
  kRenew,
  kHandBack,
  kClose,  ///< the holder's end of the channel
};

enum class GuardianState : std::uint8_t {
  kPreparing,  ///< takes the locks of the fans, and puts the lease on the disk
  kWatching,
  kExpired,  ///< renewals stopped; it hands back again and again until the channel ends
  kEnding,   ///< the channel has ended; it hands back until a write succeeds
  kGone,
};

enum class GuardianEvent : std::uint8_t {
  kPrepared,
  kCannotPrepare,
  kRenewed,     ///< a line of the holder
  kTimeIsOver,  ///< no line arrived within the lease's time-out, or within the pause between two
                ///< tries
  kChannelEnded,
  kHandedBack,
  kHandBackFailed,
};

enum class GuardianAction : std::uint8_t {
  kNothing,
  kSayReady,
  kRefuse,  ///< says why, and removes what it has put on the disk
  kSayAlive,
  kSayExpired,
  kHandBack,
  kLeave,  ///< removes the lease from the disk and releases the locks
};

struct HolderRow {
  HolderState state;
  HolderEvent event;
  HolderState next;
  HolderAction action;
};

struct GuardianRow {
  GuardianState state;
  GuardianEvent event;
  GuardianState next;
  GuardianAction action;
};

/// The tables; an event without a row changes nothing. Any thread.
std::span<const HolderRow> holderRules();
std::span<const GuardianRow> guardianRules();

/// The row of a state and an event; null if the table has no such row. Any thread.
template <typename Row, typename State, typename Event>
const Row* ruleOf(std::span<const Row> rules, State state, Event event) {
  for (const Row& row : rules) {
    if (row.state == state && row.event == event) {
      return &row;
    }
  }
  return nullptr;
}

}  // namespace kelvora
