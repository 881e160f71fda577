#pragma once

#include <algorithm>
#include <array>
#include <compare>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "fans/FanLeaseRules.h"
#include "tests/fans/LeaseNames.h"

// A fan, a holder, its guardian, the channel between them, the next program that looks for fans
// that were left behind, and the tools of all three, as a model that follows the tables of the
// lease; and a second holder, of which only the way to the fan is modelled. A walk visits every
// order of their steps and of faults.
namespace kelvora::testing {

/// Whose end the next program waits for before it removes a lease from the disk.
enum class Keep : std::uint8_t { kForNobody, kForTools, kForHolderAndTools };

/// What a second holder does about the fan's state that it read before it had the holder's lock,
/// and that it will hand back: the minimum, which may be the one that the first holder has raised.
enum class ReadAgain : std::uint8_t { kNever, kWithTheLock, kWithoutAGuardian };

/// How a lease is kept. What the tables do not say are facts of the programs around them.
struct LeaseDesign {
  std::vector<HolderRow> holder{holderRules().begin(), holderRules().end()};
  std::vector<GuardianRow> guardian{guardianRules().begin(), guardianRules().end()};
  bool toolsKeepTheChannelOpen = true;
  bool handBackReportsItsModeWrite = true;
  bool holderWaitsForLateTools = true;  // before it calls a fan handed back
  bool nextProgramComes = true;         // whenever a lease has no guardian
  Keep leaseIsKept = Keep::kForHolderAndTools;
  bool secondHolderComes = false;
  ReadAgain secondReadsAgain = ReadAgain::kWithoutAGuardian;
  bool secondMindsALease = true;  // one that the first holder has left on the disk

  /// Replaces the row of a state and an event, or adds it.
  LeaseDesign& with(HolderRow row) { return replace(holder, row); }
  LeaseDesign& with(GuardianRow row) { return replace(guardian, row); }

 private:
  template <typename Row>
  LeaseDesign& replace(std::vector<Row>& rows, Row row) {
    std::erase_if(
        rows, [&](const Row& each) { return each.state == row.state && each.event == row.event; });
    rows.push_back(row);
    return *this;
  }
};

enum class Owner : std::uint8_t { kHolder, kGuardian, kNextProgram };

struct Tool {
  bool takes = false;  // else it hands back
  Owner owner = Owner::kHolder;
  bool isAwaited = true;  // else its owner has given it up, or has ended
  bool hasEnded = false;  // its owner has not seen it yet
  bool counts = true;     // of a hand-back: no process was left that may set the fan after it
  auto operator<=>(const Tool&) const = default;
};

/// How far a second holder is: it has read the fan, has the holder's lock, knows what to hand back,
/// has taken the fan. In the end it hands back.
enum class Second : std::uint8_t { kNotThere, kHasRead, kHasLock, kIsReady, kHasFan, kHasEnded };

enum class Reply : std::uint8_t { kReady, kRefused, kExpired };

struct World {
  bool isManual = false;
  bool isOnDisk = false;
  HolderState holder = HolderState::kIdle;
  bool holderRuns = true;
  bool holderIsStopped = false;
  bool holderHasClosed = true;
  GuardianState guardian = GuardianState::kPreparing;
  bool guardianRuns = false;
  bool guardianIsStopped = false;
  std::uint8_t renewals = 0;  // on their way
  std::vector<Reply> replies;
  std::vector<Tool> tools;
  std::uint8_t takes = 2;  // that the host may still ask for, the second on a lease that it holds
  std::uint8_t faults = 0;
  Second second = Second::kNotThere;
  bool secondHandsBackManual = false;  // it took the raised minimum for the fan's own

  auto operator<=>(const World&) const = default;

  bool channelIsOpen(const LeaseDesign& design) const {
    return (holderRuns && !holderHasClosed) ||
           (design.toolsKeepTheChannelOpen && std::ranges::any_of(tools, [](const Tool& tool) {
              return tool.owner == Owner::kHolder && !tool.hasEnded;
            }));
  }
  bool isAwaiting(Owner owner) const {
    return std::ranges::any_of(
        tools, [&](const Tool& tool) { return tool.isAwaited && tool.owner == owner; });
  }
  bool isLive() const {
    return second == Second::kHasFan ||
           (holder == HolderState::kHeld && holderRuns && !holderIsStopped && guardianRuns &&
            !guardianIsStopped && guardian == GuardianState::kWatching);
  }
  bool firstHasHolderLock() const {
    return (holderRuns && !holderHasClosed) || std::ranges::any_of(tools, [](const Tool& tool) {
             return tool.owner == Owner::kHolder && !tool.hasEnded;
           });
  }
  bool secondHasHolderLock() const {
    return second == Second::kHasLock || second == Second::kIsReady || second == Second::kHasFan;
  }
  std::string text() const {
    constexpr std::array kOwners = {" of the holder", " of the guardian", " of the next program"};
    std::string result =
        std::string(isManual ? "manual" : "automatic") + (isOnDisk ? ", on disk" : "") +
        "; holder " + nameOf(holder) + (holderHasClosed ? ", closed" : "") +
        (holderIsStopped ? ", stopped" : "") + (holderRuns ? "" : ", ended") + "; guardian " +
        nameOf(guardian) + (guardianIsStopped ? ", stopped" : "") + (guardianRuns ? "" : ", ended");
    for (const Tool& tool : tools) {
      result += std::string("; ") + (tool.isAwaited ? "" : "late ") +
                (tool.takes ? "take" : "hand-back") +
                kOwners.at(static_cast<std::size_t>(tool.owner));
    }
    if (second != Second::kNotThere) {
      constexpr std::array kSeconds = {"",         "has read", "has the lock",
                                       "is ready", "has it",   "has ended"};
      result += std::string("; second ") + kSeconds.at(static_cast<std::size_t>(second)) +
                (secondHandsBackManual ? ", hands back manual" : "");
    }
    return result;
  }
  /// The fan is the system's and stays it, or somebody renews a lease that is watched.
  bool isSettled() const {
    const bool isTaken = isManual || std::ranges::any_of(tools, [](const Tool& tool) {
                           return tool.takes && !tool.hasEnded;
                         });
    return !isTaken || isLive();
  }
};

}  // namespace kelvora::testing
