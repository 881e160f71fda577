#include "KelvoraCore/KVFanLease.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/KVUtils.h"
#include "KelvoraCore/SensorController.h"

#include "fans/FanLeaseRules.h"
#include "fans/FanReading.h"
#include "fans/LeaseRecord.h"
#include "fans/LeftBehind.h"
#include "fans/ToolWrites.h"
#include "hardware/FanKeys.h"
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

std::string fanText(std::uint64_t fan) { return "fan " + std::to_string(fan) + ": "; }

// What the guardian answered, as events.
HolderEvent eventOf(std::string_view line) {
  if (line == "ready") {
    return HolderEvent::kReady;
  }
  return line.starts_with(kRefused) ? HolderEvent::kRefused : HolderEvent::kGuardianExpired;
}

}  // namespace

class KVFanLease::Holder {
 public:
  Holder(SensorController& controller, KVFanLeaseOptions options)
      : controller_(controller),
        platform_(controller.platform()),
        options_(std::move(options)),
        take_(platform_, options_.timeout),
        handBack_(platform_, options_.timeout) {}

  bool take(const std::vector<KVFanSpeed>& speeds) {
    if (state_ == HolderState::kEnded || state_ == HolderState::kEnding) {
      state_ = HolderState::kIdle;
    }
    fault_.clear();
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
        sendRenewal();
        break;
      case HolderAction::kHandBack:
        handle(handBack() ? HolderEvent::kHandedBack : HolderEvent::kHandBackFailed);
        break;
      case HolderAction::kClose:
        waitForGuardiansEnd();
        break;
    }
  }

  bool fail(std::string fault) {
    fault_ = std::move(fault);
    return false;
  }

  // Before anything is written.
  bool mayTake(const std::vector<KVFanSpeed>& speeds) {
    if (speeds.empty()) {
      return fail("no fan to take");
    }
    if (state_ != HolderState::kIdle && state_ != HolderState::kHeld) {
      return false;  // not handed back yet, or just lost: what was in the way is known
    }
    if (!privilegedToolRequest(platform_, "", "")) {
      return fail("the privileged tool is not installed: " +
                  KVUtils::smcExePath(platform_).value_or(""));
    }
    if (state_ == HolderState::kIdle && !handBackLeftBehind(speeds)) {
      return false;
    }
    std::vector<LeasedFan> fans;
    for (const KVFanSpeed& speed : speeds) {
      if (!mayTake(speed, fans)) {
        return false;
      }
    }
    if (state_ == HolderState::kIdle) {
      fans_ = std::move(fans);
    }
    return true;
  }

  bool mayTake(const KVFanSpeed& wanted, std::vector<LeasedFan>& fans) {
    const auto fan = static_cast<std::int64_t>(std::min<std::uint64_t>(wanted.fan, INT64_MAX));
    const auto isSame = [&](const LeasedFan& each) { return each.fan == wanted.fan; };
    if (fan >= std::min(controller_.smc().numberOfFans(), kNameableFans)) {
      return fail(fanText(wanted.fan) + "the machine has no such fan");
    }
    if (std::ranges::any_of(fans, isSame)) {
      return fail(fanText(wanted.fan) + "has two speeds");
    }
    if (state_ == HolderState::kHeld && std::ranges::none_of(fans_, isSame)) {
      return fail(fanText(wanted.fan) + "this lease does not have it");
    }
    // On a machine without a mode key a held fan has its minimum raised, but not its maximum.
    const double least = state_ == HolderState::kHeld
                             ? least_.at(wanted.fan)
                             : controller_.smc().safeMinimumSpeedOfFan(fan);
    const double most = controller_.smc().safeMaximumSpeedOfFan(fan);
    if (!(least >= 0) || !(most > 0) || least > most) {
      return fail(fanText(wanted.fan) + "its limits cannot be read");
    }
    const auto speed = static_cast<double>(wanted.speed);
    if (speed < least || speed > most) {
      return fail(fanText(wanted.fan) + std::to_string(wanted.speed) +
                  " is not within its limits, " + std::to_string(static_cast<std::int64_t>(least)) +
                  " to " + std::to_string(static_cast<std::int64_t>(most)));
    }
    const FanWrite handBack = handBackWrite(scheme(), least, wanted.fan);
    if (!isReadable(platform_, handBack.key)) {
      return fail(fanText(wanted.fan) + "its mode cannot be read");
    }
    least_.insert_or_assign(wanted.fan, least);
    fans.push_back({wanted.fan, handBack});
    return true;
  }

  FanScheme scheme() {
    return controller_.hasFanModes() ? FanScheme::kModeAndTarget : FanScheme::kMinimum;
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
    unanswered_.reset();
    if (!launchGuardian()) {
      handle(HolderEvent::kGuardianGone);
      return;
    }
    std::string line;
    switch (channel_->receive(line, options_.timeout)) {
      case GuardChannel::Event::kNothing:
        fail("the guardian does not answer");
        handle(HolderEvent::kGuardianSilent);
        break;
      case GuardChannel::Event::kEnd:
        fail("the guardian has ended: " + guardianPath());
        handle(HolderEvent::kGuardianGone);
        break;
      case GuardChannel::Event::kLine:
        if (line.starts_with(kRefused)) {
          fail(line.substr(kRefused.size()));
        }
        handle(eventOf(line));
        break;
    }
  }

  std::string guardianPath() const {
    return options_.guardian.empty() ? KVUtils::fanGuardianPath(platform_).value_or("")
                                     : options_.guardian;
  }

  bool launchGuardian() {
    auto ends = GuardChannel::open();
    if (!ends) {
      return fail("the system has no descriptors left");
    }
    platform::ChildRequest request;
    request.path = guardianPath();
    request.standardInput = ends->second.descriptor();
    platform::ChildLaunch launch = platform_.childProcesses().launch(request);
    if (!launch.child) {
      return fail("the guardian cannot be started: " + request.path + ": " + launch.failure);
    }
    guardian_ = std::move(launch.child);
    channel_.emplace(std::move(ends->first));
    ends->second.close();
    channel_->send(lineOf({program(), platform::processIdentifier(), options_.timeout, fans_}));
    return true;
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
      for (const FanWrite& write : fanWrites(scheme(), wanted.speed, wanted.fan, false)) {
        if (std::string fault = take_.write(write, descriptor()); !fault.empty()) {
          return fail(fanText(wanted.fan) + fault);
        }
      }
    }
    return true;
  }

  // The tools have the holder's end, so that the channel ends after the last of them.
  int descriptor() const { return channel_ ? channel_->descriptor() : -1; }

  // A tool that set a fan and hangs may set it after this. So a hand-back counts if it began when
  // no such tool was left.
  bool handBack() {
    obstacle_ = take_.hasLateTools() ? "a privileged tool that sets a fan still runs" : "";
    for (const LeasedFan& fan : fans_) {
      if (isOfAnother(fan)) {
        continue;
      }
      const std::string fault = handBack_.handBack(fan.handBack, descriptor());
      if (!fault.empty()) {
        obstacle_ = fanText(fan.fan) + "not handed back: " + fault;
      }
    }
    return obstacle_.empty();
  }

  // After this lease had lost its guardian, another program may have handed the fan back and taken
  // it.
  bool isOfAnother(const LeasedFan& fan) {
    const LeaseReading reading = readLease(platform_, fan.fan);
    return reading.record && reading.record->processIdentifier != platform::processIdentifier();
  }

  void sendRenewal() {
    channel_->send("renew");
    if (!unanswered_) {
      unanswered_ = Clock::now();
    }
  }

  void receiveWhatCame() {
    std::string line;
    while (state_ == HolderState::kHeld) {
      const GuardChannel::Event event = channel_->receive(line, milliseconds(0));
      if (event == GuardChannel::Event::kEnd) {
        fail("the guardian has ended");
        handle(HolderEvent::kGuardianGone);
      } else if (event == GuardChannel::Event::kNothing) {
        lookWhetherSilent();
        return;
      } else if (line == "alive") {
        unanswered_.reset();
      } else {
        fail("the lease was not renewed in time");
        handle(HolderEvent::kGuardianExpired);
      }
    }
  }

  void lookWhetherSilent() {
    if (unanswered_ && Clock::now() - *unanswered_ > options_.timeout) {
      fail("the guardian is silent");
      handle(HolderEvent::kGuardianSilent);
    }
  }

  // The guardian hands back once more when the channel ends, before it releases the fans' locks.
  void waitForGuardiansEnd() {
    channel_.reset();
    const auto guardian = std::move(guardian_);
    const bool hasEnded =
        guardian == nullptr || guardian->waitUntilExit(options_.timeout).has_value();
    // A guardian that was killed has left the leases on the disk.
    for (const LeasedFan& fan : fans_) {
      if (hasEnded) {
        kelvora::handBackLeftBehind(platform_, fan.fan);
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
  std::string fault_;     // why the fans were not taken, or were handed back
  std::string obstacle_;  // why they are not handed back yet
  std::vector<KVFanSpeed> wanted_;
  std::vector<LeasedFan> fans_;
  std::map<std::uint64_t, double> least_;  // the limit of each fan as it was before the take
  std::optional<GuardChannel> channel_;
  std::unique_ptr<platform::ChildProcess> guardian_;
  std::optional<Clock::time_point> unanswered_;  // the first renewal that was not answered yet
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

}  // namespace kelvora
