#include "KelvoraCore/KVFanLease.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/KVProcessLock.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/SensorController.h"

#include "fans/FanLeaseRules.h"
#include "fans/FanToTake.h"
#include "fans/GuardianProcess.h"
#include "fans/LeaseMachine.h"
#include "fans/LeaseRecord.h"
#include "fans/LeasedFan.h"
#include "fans/ToolWrites.h"
#include "hardware/PrivilegedTool.h"
#include "ports/GuardChannel.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

using platform::GuardChannel;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// Between two tries to hand a fan back.
constexpr milliseconds kPause{100};
constexpr std::string_view kRefused = "refused ";
constexpr std::string_view kHeldElsewhere = "held ";

std::string fanText(std::uint64_t fan) { return "fan " + std::to_string(fan) + ": "; }

// What the guardian answered, as events.
HolderEvent eventOf(std::string_view line) {
  if (line == "ready") {
    return HolderEvent::kReady;
  }
  const bool isRefused = line.starts_with(kRefused) || line.starts_with(kHeldElsewhere);
  return isRefused ? HolderEvent::kRefused : HolderEvent::kGuardianExpired;
}

}  // namespace

class KVFanLease::Holder {
 public:
  Holder(SensorController& controller, KVFanLeaseOptions options)
      : controller_(controller),
        platform_(controller.platform()),
        options_(std::move(options)),
        take_(platform_, options_.timeout),
        handBack_(platform_, std::min(options_.timeout, KVFanLeases::kLongestHandBack)),
        guardian_(platform_.childProcesses(), options_.timeout) {}

  bool take(const std::vector<KVFanSpeed>& speeds) {
    if (state_ == HolderState::kEnded || state_ == HolderState::kEnding) {
      state_ = HolderState::kIdle;
    }
    fault_.clear();
    isHeldElsewhere_ = false;
    receiveWhatCame();
    if (!mayTake(speeds)) {
      return false;
    }
    wanted_ = speeds;
    handle(HolderEvent::kTakeAsked);
    return state_ == HolderState::kHeld;
  }

  void renew() {
    receiveWhatCame();
    handle(HolderEvent::kRenewalDue);
  }

  bool release() {
    const Clock::time_point deadline = Clock::now() + options_.timeout;
    handle(HolderEvent::kReleaseAsked);
    while (state_ == HolderState::kHandingBack && Clock::now() < deadline) {
      std::this_thread::sleep_for(kPause);
      handle(HolderEvent::kReleaseAsked);
    }
    return state_ == HolderState::kIdle || state_ == HolderState::kEnded;
  }

  KVFanLeaseState state() const {
    switch (state_) {
      case HolderState::kIdle:
      case HolderState::kStarting:
        return KVFanLeaseState::kIdle;
      case HolderState::kTaking:
      case HolderState::kHeld:
        return KVFanLeaseState::kHeld;
      case HolderState::kHandingBack:
        return KVFanLeaseState::kNotHandedBack;
      case HolderState::kEnding:
      case HolderState::kEnded:
        break;
    }
    return KVFanLeaseState::kEnded;
  }

  const std::string& fault() const { return obstacle_.empty() ? fault_ : obstacle_; }

  bool isHeldElsewhere() const { return isHeldElsewhere_; }

 private:
  void handle(HolderEvent event) {
    const HolderRow* const row = ruleOf(holderRules(), state_, event);
    if (row != nullptr) {
      state_ = row->next;
      perform(row->action);
    }
  }

  void perform(HolderAction action) {
    switch (action) {
      case HolderAction::kNothing:
        break;
      case HolderAction::kStartGuardian:
        startGuardian();
        break;
      case HolderAction::kTake:
        handle(write() ? HolderEvent::kTaken : HolderEvent::kTakeFailed);
        break;
      case HolderAction::kRenew:
        guardian_.renew();
        break;
      case HolderAction::kHandBack:
        handle(handBack() ? HolderEvent::kHandedBack : HolderEvent::kHandBackFailed);
        break;
      case HolderAction::kClose:
        waitForGuardiansEnd();
        break;
    }
  }

  struct HeldFan {
    std::uint64_t index() const { return before.leased.fan; }

    FanToTake before;
    std::unique_ptr<KVProcessLock> lock;
  };

  bool fail(std::string fault) {
    fault_ = std::move(fault);
    return false;
  }

  // Before anything is written. Of an idle lease the fans are then those that it will have.
  bool mayTake(const std::vector<KVFanSpeed>& speeds) {
    if (speeds.empty()) {
      return fail("no fan to take");
    }
    if (state_ != HolderState::kIdle && state_ != HolderState::kHeld) {
      return false;  // not handed back yet, or just lost: the fault is already set
    }
    if (!privilegedToolRequest(platform_, "", "")) {
      return fail("the privileged tool is not installed: " +
                  KVUtils::smcExePath(platform_).value_or(""));
    }
    return state_ == HolderState::kHeld ? mayChange(speeds) : mayStart(speeds);
  }

  bool mayChange(const std::vector<KVFanSpeed>& speeds) {
    return std::ranges::all_of(speeds, [&](const KVFanSpeed& wanted) {
      const auto fan = std::ranges::find(fans_, wanted.fan, &HeldFan::index);
      return mayHave(wanted, speeds,
                     fan == fans_.end() ? "this lease does not have it"
                                        : faultOfSpeed(fan->before, wanted.speed));
    });
  }

  bool mayStart(const std::vector<KVFanSpeed>& speeds) {
    if (options_.timeout < milliseconds(1) || options_.timeout > kLongestTimeout) {
      return fail("the time-out of a lease is 1 ms to 24 hours");
    }
    fans_.clear();
    const bool isReady =
        handBackLeftBehind(speeds) &&
        std::ranges::all_of(
            speeds,
            [&](const KVFanSpeed& wanted) {
              HeldFan& fan = fans_.emplace_back();
              const std::string fault = readFanToTake(controller_, wanted.fan, fan.before);
              return mayHave(wanted, speeds,
                             fault.empty() ? faultOfSpeed(fan.before, wanted.speed) : fault);
            }) &&
        std::ranges::all_of(fans_, [&](HeldFan& fan) { return lock(fan); }) &&
        std::ranges::all_of(fans_, [&](HeldFan& fan) { return readAgain(fan); });
    if (!isReady) {
      fans_.clear();
    }
    return isReady;
  }

  bool mayHave(const KVFanSpeed& wanted, const std::vector<KVFanSpeed>& speeds,
               const std::string& fault) {
    if (!fault.empty()) {
      return fail(fanText(wanted.fan) + fault);
    }
    return std::ranges::count(speeds, wanted.fan, &KVFanSpeed::fan) == 1 ||
           fail(fanText(wanted.fan) + "has two speeds");
  }

  // From before the guardian starts until the fan is back: whoever finds the lease without its
  // guardian sees that this process, or a tool of it, may still set the fan.
  bool lock(HeldFan& fan) {
    fan.lock = std::make_unique<KVProcessLock>(holderLockName(fan.index()), platform_);
    return isHeld(*fan.lock, fan.index());
  }

  bool isHeld(const KVProcessLock& lock, std::uint64_t fan) {
    if (lock.state() == KVProcessLock::State::kHeldElsewhere) {
      isHeldElsewhere_ = true;
      return fail(fanText(fan) + "held by " + nameOfHolder(readLease(platform_, fan)));
    }
    return lock.fault().empty() || fail(fanText(fan) + lock.fault());
  }

  // The minimum that was read before the lock may be that of an earlier holder, whose guardian was
  // about to restore it. Without that guardian the fan stays as it is, for this holder has its
  // lock.
  bool readAgain(HeldFan& fan) {
    if (!isHeld(KVProcessLock(leaseName(fan.index()), platform_), fan.index())) {
      return false;
    }
    const std::string fault = readFanToTake(controller_, fan.index(), fan.before);
    return fault.empty() || fail(fanText(fan.index()) + fault);
  }

  bool handBackLeftBehind(const std::vector<KVFanSpeed>& speeds) {
    for (const KVFanSpeed& speed : speeds) {
      const auto left = kelvora::handBackLeftBehind(platform_, speed.fan);
      if (left && !left->fault.empty()) {
        return fail(fanText(speed.fan) + left->fault);
      }
    }
    return true;
  }

  void startGuardian() {
    if (std::string fault = guardian_.launch(guardianPath(), leaseRequest()); !fault.empty()) {
      fail(std::move(fault));
      handle(HolderEvent::kGuardianGone);
      return;
    }
    std::string line;
    switch (guardian_.receive(line, options_.timeout)) {
      case GuardChannel::Event::kNothing:
        fail("the guardian does not answer");
        handle(HolderEvent::kGuardianSilent);
        break;
      case GuardChannel::Event::kEnd:
        fail("the guardian has ended: " + guardianPath());
        handle(HolderEvent::kGuardianGone);
        break;
      case GuardChannel::Event::kLine:
        isHeldElsewhere_ = line.starts_with(kHeldElsewhere);
        if (eventOf(line) == HolderEvent::kRefused) {
          fail(line.substr(line.find(' ') + 1));
        }
        handle(eventOf(line));
        break;
    }
  }

  std::string guardianPath() const {
    return options_.guardian.empty() ? KVUtils::fanGuardianPath(platform_).value_or("")
                                     : options_.guardian;
  }

  LeaseRequest leaseRequest() const {
    LeaseRequest request{
        program(), platform::processIdentifier(), options_.timeout, {}, machineOf(platform_)};
    for (const HeldFan& fan : fans_) {
      request.fans.push_back(fan.before.leased);
    }
    return request;
  }

  std::string program() const {
    if (!options_.program.empty()) {
      return options_.program;
    }
    const std::string path = platform_.mainBundle().executablePath();
    return path.substr(path.rfind('/') + 1);
  }

  bool write() {
    for (const KVFanSpeed& wanted : wanted_) {
      const auto fan = std::ranges::find(fans_, wanted.fan, &HeldFan::index);
      for (const FanWrite& write :
           fanWrites(fanSchemeOf(controller_), wanted.speed, wanted.fan, false)) {
        if (std::string fault = take_.write(write, descriptorsOf(*fan)); !fault.empty()) {
          return fail(fanText(wanted.fan) + fault);
        }
      }
    }
    return true;
  }

  // The tools have the holder's end, so that the channel ends after the last of them, and the
  // fan's lock.
  ToolDescriptors descriptorsOf(const HeldFan& fan) const {
    return {guardian_.descriptor(), fan.lock->descriptor()};
  }

  // A tool that set a fan and hangs may set it after this. So a hand-back counts if it began when
  // no such tool was left.
  bool handBack() {
    obstacle_ = take_.hasLateTools() ? "a privileged tool that sets a fan still runs" : "";
    std::vector<ToolWrites::HandBack> handBacks;
    handBacks.reserve(fans_.size());
    for (const HeldFan& fan : fans_) {
      handBacks.push_back({fan.before.leased.handBack, descriptorsOf(fan)});
    }
    handBack_.handBack(handBacks);
    for (std::size_t i = 0; i < handBacks.size(); ++i) {
      if (!handBacks[i].fault.empty()) {
        obstacle_ += (obstacle_.empty() ? "" : "; ") + fanText(fans_[i].index()) +
                     "not handed back: " + handBacks[i].fault;
      }
    }
    return obstacle_.empty();
  }

  void receiveWhatCame() {
    std::string line;
    while (state_ == HolderState::kHeld) {
      const GuardChannel::Event event = guardian_.receive(line, milliseconds(0));
      if (event == GuardChannel::Event::kEnd) {
        fail("the guardian has ended");
        handle(HolderEvent::kGuardianGone);
      } else if (event == GuardChannel::Event::kNothing) {
        lookWhetherSilent();
        return;
      } else if (line != "alive") {
        fail("the lease was not renewed in time");
        handle(HolderEvent::kGuardianExpired);
      }
    }
  }

  void lookWhetherSilent() {
    if (guardian_.isSilent()) {
      fail("the guardian is silent");
      handle(HolderEvent::kGuardianSilent);
    }
  }

  // The guardian hands back once more when the channel ends, before it releases the fans' locks.
  void waitForGuardiansEnd() {
    guardian_.leave();
    for (HeldFan& fan : fans_) {
      fan.lock.reset();
    }
    const bool hasEnded = guardian_.waitUntilEnded();
    // A guardian that was killed has left the leases on the disk.
    for (const HeldFan& fan : fans_) {
      if (hasEnded) {
        kelvora::handBackLeftBehind(platform_, fan.index());
      }
    }
    handle(hasEnded ? HolderEvent::kGuardianGone : HolderEvent::kGuardianSilent);
  }

  SensorController& controller_;
  Platform& platform_;
  KVFanLeaseOptions options_;
  ToolWrites take_;
  ToolWrites handBack_;
  HolderState state_ = HolderState::kIdle;
  std::string fault_;  // why the fans were not taken, or were handed back
  bool isHeldElsewhere_ = false;
  std::string obstacle_;  // why they are not handed back yet
  std::vector<KVFanSpeed> wanted_;
  std::vector<HeldFan> fans_;
  GuardianProcess guardian_;
};

KVFanLease::KVFanLease(SensorController& controller, KVFanLeaseOptions options)
    : holder_(std::make_unique<Holder>(controller, std::move(options))) {}

KVFanLease::~KVFanLease() { holder_->release(); }

bool KVFanLease::take(const std::vector<KVFanSpeed>& speeds) { return holder_->take(speeds); }

KVFanLeaseState KVFanLease::renew() {
  holder_->renew();
  return holder_->state();
}

bool KVFanLease::release() { return holder_->release(); }

KVFanLeaseState KVFanLease::state() const { return holder_->state(); }

const std::string& KVFanLease::fault() const { return holder_->fault(); }

bool KVFanLease::isHeldElsewhere() const { return holder_->isHeldElsewhere(); }

}  // namespace kelvora
