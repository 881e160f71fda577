#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "fans/FanLeaseRules.h"
#include "tests/fans/LeaseWorld.h"

namespace kelvora::testing {

/// Every world that a design comes to.
class LeaseWalk {
 public:
  LeaseWalk(LeaseDesign design, int faults) : design_(std::move(design)) {
    World start;
    start.faults = static_cast<std::uint8_t>(faults);
    visit(start);
    while (!open_.empty()) {
      const World world = open_.front();
      open_.pop_front();
      from_ = &worlds_.find(world)->first;
      step(world);
    }
  }

  std::size_t size() const { return worlds_.size(); }

  /// Those from which the fan does not come back by steps that happen for certain.
  std::vector<World> leftBehind() const {
    std::vector<World> result;
    const auto recovering = worldsThatRecover();
    for (const auto& [world, ignored] : worlds_) {
      if (!recovering.contains(&world)) {
        result.push_back(world);
      }
    }
    return result;
  }

  /// How a world came about, a line for each step.
  std::string trace(const World& world) const {
    std::string lines;
    for (const World* each = &worlds_.find(world)->first; each != nullptr; each = first_.at(each)) {
      lines = each->text() + "\n" + lines;
    }
    return lines;
  }

  bool any(const std::function<bool(const World&)>& predicate) const {
    return std::ranges::any_of(worlds_, [&](const auto& each) { return predicate(each.first); });
  }

 private:
  using Worlds = std::map<World, std::vector<const World*>>;  // with those that come to it

  std::set<const World*> worldsThatRecover() const {
    std::set<const World*> found;
    std::vector<const World*> open;
    for (const auto& [world, ignored] : worlds_) {
      if (world.isSettled()) {
        found.insert(&world);
        open.push_back(&world);
      }
    }
    while (!open.empty()) {
      const World* const world = open.back();
      open.pop_back();
      for (const World* before : worlds_.at(*world)) {
        if (found.insert(before).second) {
          open.push_back(before);
        }
      }
    }
    return found;
  }

  Worlds::iterator visit(const World& world) {
    const auto [place, isNew] = worlds_.try_emplace(world);
    if (isNew) {
      first_.emplace(&place->first, from_);
      open_.push_back(world);
    }
    return place;
  }

  /// A step that may happen: a fault, or a wish of the host.
  void mayBecome(const World& world) { visit(world); }
  /// A step that happens for certain, sooner or later.
  void becomes(const World& world) { visit(world)->second.push_back(from_); }

  void step(const World& world) {
    stepHolder(world);
    stepGuardian(world);
    stepNextProgram(world);
    if (design_.secondHolderComes) {
      stepSecondHolder(world);
    }
    stepTools(world);
    if (world.faults > 0) {
      World next = world;
      --next.faults;
      killAndStop(next);
    }
    if (world.guardianIsStopped) {
      World next = world;
      next.guardianIsStopped = false;
      becomes(next);
    }
    if (world.holderIsStopped) {  // perhaps never
      World next = world;
      next.holderIsStopped = false;
      mayBecome(next);
    }
  }

  // --- the holder

  World after(World world, HolderEvent event) const {
    const std::span<const HolderRow> rules(design_.holder);
    if (const HolderRow* const row = ruleOf(rules, world.holder, event)) {
      world.holder = row->next;
      perform(world, row->action);
    }
    return world;
  }

  static void perform(World& world, HolderAction action) {
    switch (action) {
      case HolderAction::kNothing:
        break;
      case HolderAction::kStartGuardian:
        world.guardian = GuardianState::kPreparing;
        world.guardianRuns = true;
        world.holderHasClosed = false;
        break;
      case HolderAction::kTake:
        world.tools.push_back({true, Owner::kHolder});
        break;
      case HolderAction::kRenew:
        world.renewals = 1;
        break;
      case HolderAction::kHandBack:
        world.tools.push_back({false, Owner::kHolder, true, false, !hasLateTake(world)});
        break;
      case HolderAction::kClose:
        world.holderHasClosed = true;
        world.replies.clear();
        break;
    }
    std::ranges::sort(world.tools);
  }

  void stepHolder(const World& world) {
    if (!world.holderRuns || world.holderIsStopped || world.isAwaiting(Owner::kHolder)) {
      return;
    }
    const bool isBarred = world.holder == HolderState::kIdle && world.secondHasHolderLock();
    if (world.takes > 0 && !isBarred) {
      World next = world;
      --next.takes;
      mayBecome(after(next, HolderEvent::kTakeAsked));
    }
    mayBecome(after(world, HolderEvent::kReleaseAsked));
    becomes(after(world, HolderEvent::kRenewalDue));
    if (!world.replies.empty()) {
      World next = world;
      next.replies.erase(next.replies.begin());
      becomes(after(next, eventOf(world.replies.front())));
    } else if (!world.guardianRuns &&
               (!world.holderHasClosed || world.holder == HolderState::kEnding)) {
      becomes(after(world, HolderEvent::kGuardianGone));
    } else if (world.guardianIsStopped || world.isAwaiting(Owner::kGuardian)) {
      becomes(after(world, HolderEvent::kGuardianSilent));
    }
  }

  static HolderEvent eventOf(Reply reply) {
    constexpr std::array kEvents = {HolderEvent::kReady, HolderEvent::kRefused,
                                    HolderEvent::kGuardianExpired};
    return kEvents.at(static_cast<std::size_t>(reply));
  }

  // --- the guardian

  World after(World world, GuardianEvent event) const {
    const std::span<const GuardianRow> rules(design_.guardian);
    if (const GuardianRow* const row = ruleOf(rules, world.guardian, event)) {
      world.guardian = row->next;
      perform(world, row->action);
      if (world.guardian == GuardianState::kGone) {
        world.guardianRuns = false;
      }
    }
    return world;
  }

  static void perform(World& world, GuardianAction action) {
    switch (action) {
      case GuardianAction::kNothing:
      case GuardianAction::kSayAlive:
        break;
      case GuardianAction::kSayReady:
        world.isOnDisk = true;
        say(world, Reply::kReady);
        break;
      case GuardianAction::kRefuse:
        say(world, Reply::kRefused);
        break;
      case GuardianAction::kSayExpired:
        say(world, Reply::kExpired);
        break;
      case GuardianAction::kHandBack:
        world.tools.push_back({false, Owner::kGuardian});
        std::ranges::sort(world.tools);
        break;
      case GuardianAction::kLeave:
        world.isOnDisk = false;
        break;
    }
  }

  static void say(World& world, Reply reply) {
    const bool isKnown = !world.replies.empty() && world.replies.back() == reply;
    if (world.holderRuns && !world.holderHasClosed && !isKnown) {
      world.replies.push_back(reply);
    }
  }

  void stepGuardian(const World& world) {
    if (!world.guardianRuns || world.guardianIsStopped || world.isAwaiting(Owner::kGuardian)) {
      return;
    }
    if (world.guardian == GuardianState::kPreparing) {
      becomes(after(world, GuardianEvent::kPrepared));
      mayBecome(after(world, GuardianEvent::kCannotPrepare));
    } else if (world.renewals > 0) {
      World next = world;
      next.renewals = 0;
      becomes(after(next, GuardianEvent::kRenewed));
    } else if (!world.channelIsOpen(design_) && world.guardian != GuardianState::kEnding) {
      becomes(after(world, GuardianEvent::kChannelEnded));
    } else if (world.isLive()) {
      mayBecome(after(world, GuardianEvent::kTimeIsOver));
    } else {
      becomes(after(world, GuardianEvent::kTimeIsOver));
    }
  }

  // --- the next program

  // It has the fan's lock, which the guardian has had, until its tool has ended; or it gives that
  // up, or is killed, which is the same. It is started in the end, but no running program may count
  // on it.
  void stepNextProgram(const World& world) {
    if (design_.nextProgramComes && world.isOnDisk && !world.guardianRuns &&
        world.second != Second::kHasFan && !world.isAwaiting(Owner::kNextProgram)) {
      World next = world;
      next.tools.push_back({false, Owner::kNextProgram, true, false, !mayBeSetAgain(world)});
      std::ranges::sort(next.tools);
      world.holderRuns && !world.holderIsStopped ? mayBecome(next) : becomes(next);
    }
  }

  bool mayBeSetAgain(const World& world) const {
    const bool hasTool = std::ranges::any_of(world.tools, [](const Tool& tool) {
      return tool.owner == Owner::kHolder && !tool.hasEnded;
    });
    const bool hasHolder = world.holderRuns && !world.holderHasClosed;
    return (design_.leaseIsKept != Keep::kForNobody && hasTool) ||
           (design_.leaseIsKept == Keep::kForHolderAndTools &&
            (hasHolder || world.secondHasHolderLock()));
  }

  // --- the second holder

  // It takes the fan in one step and hands it back in another: what can happen in between is what
  // the tables say, and the first holder shows that. A refused second holder releases the lock and
  // may try again.
  void stepSecondHolder(const World& world) {
    World next = world;
    switch (world.second) {
      case Second::kNotThere:
        next.second = Second::kHasRead;
        next.secondHandsBackManual = world.isManual;
        mayBecome(next);
        break;
      case Second::kHasRead:
        if (!world.firstHasHolderLock()) {
          next.second = Second::kHasLock;
          becomes(next);
        }
        break;
      case Second::kHasLock:
        becomes(afterReadingAgain(next));
        break;
      case Second::kIsReady:
        if (hasGuardianLock(world) || (world.isOnDisk && design_.secondMindsALease)) {
          becomes(refused(next));
        } else {
          next.second = Second::kHasFan;
          next.isManual = true;
          next.isOnDisk = true;
          becomes(next);
        }
        break;
      case Second::kHasFan:
        next.second = Second::kHasEnded;
        next.isManual = world.secondHandsBackManual;
        next.isOnDisk = false;
        becomes(next);
        break;
      case Second::kHasEnded:
        break;
    }
  }

  // The next program has the guardian's lock while it hands back.
  static bool hasGuardianLock(const World& world) {
    return world.guardianRuns || world.isAwaiting(Owner::kNextProgram);
  }

  World afterReadingAgain(World world) const {
    if (design_.secondReadsAgain == ReadAgain::kWithoutAGuardian && hasGuardianLock(world)) {
      return refused(world);
    }
    if (design_.secondReadsAgain != ReadAgain::kNever) {
      world.secondHandsBackManual = world.isManual;
    }
    world.second = Second::kIsReady;
    return world;
  }

  static World refused(World world) {
    world.second = Second::kNotThere;
    world.secondHandsBackManual = false;
    return world;
  }

  // --- the tools

  World withOutcome(World world, const Tool& tool, bool isSuccess) const {
    if (!tool.isAwaited) {
      return world;
    }
    if (tool.owner == Owner::kNextProgram) {
      world.isOnDisk = world.isOnDisk && !(isSuccess && tool.counts);
      return world;
    }
    if (tool.owner == Owner::kGuardian) {
      return after(world, isSuccess ? GuardianEvent::kHandedBack : GuardianEvent::kHandBackFailed);
    }
    if (tool.takes) {
      return after(world, isSuccess ? HolderEvent::kTaken : HolderEvent::kTakeFailed);
    }
    const bool counts = tool.counts || !design_.holderWaitsForLateTools;
    return after(world,
                 isSuccess && counts ? HolderEvent::kHandedBack : HolderEvent::kHandBackFailed);
  }

  static bool hasLateTake(const World& world) {
    return std::ranges::any_of(world.tools, [](const Tool& tool) {
      return tool.takes && tool.owner == Owner::kHolder && !tool.isAwaited;
    });
  }

  static bool ownerIsStopped(const World& world, const Tool& tool) {
    return (tool.owner == Owner::kHolder && world.holderIsStopped) ||
           (tool.owner == Owner::kGuardian && world.guardianIsStopped);
  }

  void stepTools(const World& world) {
    for (std::size_t i = 0; i < world.tools.size(); ++i) {
      const Tool tool = world.tools[i];
      if (!tool.hasEnded) {
        write(world, i);
      } else if (!ownerIsStopped(world, tool)) {
        becomes(withOutcome(without(world, i), tool, true));
      }
      if (world.faults > 0 && tool.isAwaited && !ownerIsStopped(world, tool)) {
        fail(world, i);
      }
    }
  }

  static World without(World world, std::size_t tool) {
    world.tools.erase(world.tools.begin() + static_cast<std::ptrdiff_t>(tool));
    return world;
  }

  void write(const World& world, std::size_t i) {
    World written = world.tools[i].isAwaited ? world : without(world, i);
    written.isManual = world.tools[i].takes;
    if (world.tools[i].isAwaited) {
      written.tools[i].hasEnded = true;
      std::ranges::sort(written.tools);
    }
    becomes(written);
  }

  // It reports a failure, having written or not; or it hangs, and its owner gives it up.
  void fail(const World& world, std::size_t i) {
    const Tool tool = world.tools[i];
    World failed = without(world, i);
    --failed.faults;
    const bool isHidden = !tool.takes && !tool.hasEnded && !design_.handBackReportsItsModeWrite;
    mayBecome(withOutcome(failed, tool, isHidden));
    if (!tool.hasEnded) {
      World late = world;
      --late.faults;
      late.tools[i].isAwaited = false;
      std::ranges::sort(late.tools);
      mayBecome(withOutcome(late, tool, false));
    }
  }

  // --- faults

  static void giveUpTools(World& world, Owner owner) {
    std::erase_if(world.tools,
                  [&](const Tool& tool) { return tool.owner == owner && tool.hasEnded; });
    for (Tool& tool : world.tools) {
      tool.isAwaited = tool.isAwaited && tool.owner != owner;
    }
    std::ranges::sort(world.tools);
  }

  void killAndStop(const World& world) {
    if (world.holderRuns) {
      World next = world;
      next.holderRuns = false;
      next.holderIsStopped = false;
      next.replies.clear();
      giveUpTools(next, Owner::kHolder);
      mayBecome(next);
    }
    if (world.guardianRuns) {
      World next = world;
      next.guardianRuns = false;
      next.guardianIsStopped = false;
      next.renewals = 0;
      giveUpTools(next, Owner::kGuardian);
      mayBecome(next);
    }
    if (world.holderRuns && !world.holderIsStopped) {
      World next = world;
      next.holderIsStopped = true;
      mayBecome(next);
    }
    if (world.guardianRuns && !world.guardianIsStopped) {
      World next = world;
      next.guardianIsStopped = true;
      mayBecome(next);
    }
  }

  LeaseDesign design_;
  Worlds worlds_;
  std::deque<World> open_;
  const World* from_ = nullptr;
  std::map<const World*, const World*> first_;  // that by which each world was found
};

}  // namespace kelvora::testing
