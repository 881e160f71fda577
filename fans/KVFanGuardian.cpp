#include "KelvoraCore/KVFanGuardian.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/KVProcessLock.h"
#include "KelvoraCore/Platform.h"

#include "base/GrowingPause.h"
#include "fans/FanLeaseRules.h"
#include "fans/LeaseRecord.h"
#include "fans/ToolWrites.h"
#include "ports/GuardChannel.h"

namespace kelvora {

namespace {

using platform::GuardChannel;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kExitWrongUsage = 64;
// Longer than a holder needs to send its request.
constexpr milliseconds kWaitForRequest{60'000};
// Between two tries to hand the fans back.
constexpr milliseconds kFirstPause{10};
constexpr milliseconds kLongestPause{1'000};
constexpr milliseconds kLongestPauseWithoutTool{60'000};  // it may never come back

class Guardian {
 public:
  Guardian(Platform& platform, GuardChannel channel, LeaseRequest request)
      : platform_(platform),
        channel_(std::move(channel)),
        request_(std::move(request)),
        tool_(platform, std::min(request_.timeout, KVFanLeases::kLongestHandBack)) {}

  void run() {
    handle(prepare() ? GuardianEvent::kPrepared : GuardianEvent::kCannotPrepare);
    while (state_ != GuardianState::kGone) {
      handle(nextEvent());
    }
  }

 private:
  void handle(GuardianEvent event) {
    const GuardianRow* const row = ruleOf(guardianRules(), state_, event);
    if (row != nullptr) {
      state_ = row->next;
      perform(row->action);
    }
  }

  void perform(GuardianAction action) {
    switch (action) {
      case GuardianAction::kNothing:
        break;
      case GuardianAction::kSayReady:
        channel_.send("ready");
        break;
      case GuardianAction::kRefuse:
        channel_.send((isHeldElsewhere_ ? "held " : "refused ") + fault_);
        forget();
        break;
      case GuardianAction::kSayAlive:
        channel_.send("alive");
        break;
      case GuardianAction::kSayExpired:
        channel_.send("expired");
        break;
      case GuardianAction::kHandBack:
        handBack();
        break;
      case GuardianAction::kLeave:
        forget();
        break;
    }
  }

  GuardianEvent nextEvent() {
    if (handedBack_) {
      return *std::exchange(handedBack_, std::nullopt) ? GuardianEvent::kHandedBack
                                                       : GuardianEvent::kHandBackFailed;
    }
    if (state_ == GuardianState::kEnding) {
      std::this_thread::sleep_for(nextPause());
      return GuardianEvent::kTimeIsOver;
    }
    switch (receive()) {
      case GuardChannel::Event::kLine:
        return GuardianEvent::kRenewed;
      case GuardChannel::Event::kNothing:
        nextTry_.reset();
        return GuardianEvent::kTimeIsOver;
      case GuardChannel::Event::kEnd:
        break;
    }
    pauses_.restart();
    return GuardianEvent::kChannelEnded;
  }

  // A renewal that comes too late does not put off the next try.
  GuardChannel::Event receive() {
    std::string line;
    if (state_ == GuardianState::kWatching) {
      return channel_.receive(line, request_.timeout);
    }
    if (!nextTry_) {
      nextTry_ = Clock::now() + nextPause();
    }
    const auto left = std::chrono::ceil<milliseconds>(*nextTry_ - Clock::now());
    return left.count() > 0 ? channel_.receive(line, left) : GuardChannel::Event::kNothing;
  }

  milliseconds nextPause() {
    return pauses_.next(tool_.isInstalled() ? kLongestPause : kLongestPauseWithoutTool);
  }

  // A tool of an earlier try that still runs could undo what the next holder sets: it has to end
  // first.
  void handBack() {
    std::vector<ToolWrites::HandBack> handBacks;
    handBacks.reserve(request_.fans.size());
    for (const LeasedFan& fan : request_.fans) {
      handBacks.push_back({fan.handBack});
    }
    tool_.handBack(handBacks);
    const std::string late =
        tool_.hasLateTools() ? "a privileged tool that hands it back still runs" : "";
    handedBack_ = true;
    for (std::size_t i = 0; i < handBacks.size(); ++i) {
      const std::string& fault = handBacks[i].fault.empty() ? late : handBacks[i].fault;
      handedBack_ = fault.empty() && *handedBack_;
      note(request_.fans[i], fault);
    }
  }

  // A guardian has no output, so it writes its fault into the lease, where other programs can read
  // it.
  void note(const LeasedFan& fan, const std::string& fault) {
    if (std::exchange(noted_[fan.fan], fault) != fault) {
      writeLease(platform_, recordOf(fan, fault));
    }
  }

  LeaseRecord recordOf(const LeasedFan& fan, const std::string& fault) const {
    return {request_.program, request_.processIdentifier,   since_, fan, fault,
            request_.machine, platform::processIdentifier()};
  }

  bool prepare() {
    return std::ranges::all_of(request_.fans,
                               [this](const LeasedFan& fan) { return prepare(fan); });
  }

  bool prepare(const LeasedFan& fan) {
    auto lock = std::make_unique<KVProcessLock>(leaseName(fan.fan), platform_);
    const LeaseReading earlier = readLease(platform_, fan.fan);
    const std::string name = "fan " + std::to_string(fan.fan) + ": ";
    if (lock->state() == KVProcessLock::State::kHeldElsewhere) {
      isHeldElsewhere_ = true;
      fault_ = name + "held by " + nameOfHolder(earlier);
    } else if (!lock->fault().empty()) {
      fault_ = name + lock->fault();
    } else if (earlier.exists) {
      fault_ = name + "left behind by " + nameOfHolder(earlier);
    } else {
      locks_.push_back(std::move(lock));
      written_.push_back(fan.fan);
      fault_ = writeLease(platform_, recordOf(fan, ""));
    }
    return fault_.empty();
  }

  void forget() {
    for (const std::uint64_t fan : written_) {
      removeLease(platform_, fan);
    }
  }

  Platform& platform_;
  GuardChannel channel_;
  LeaseRequest request_;
  ToolWrites tool_;
  GuardianState state_ = GuardianState::kPreparing;
  GrowingPause pauses_{kFirstPause};
  std::optional<Clock::time_point> nextTry_;  // after the time-out
  std::optional<bool> handedBack_;  // the result of the last try, until it becomes an event
  std::vector<std::unique_ptr<KVProcessLock>> locks_;  // released after the leases are removed
  std::vector<std::uint64_t> written_;
  std::map<std::uint64_t, std::string> noted_;  // of each fan, why it cannot be handed back
  const std::chrono::system_clock::time_point since_ = std::chrono::system_clock::now();
  std::string fault_;
  bool isHeldElsewhere_ = false;
};

}  // namespace

int KVFanGuardian::run() {
  platform::removeFromEnvironment("KELVORA_MACHINE");
  auto channel = GuardChannel::fromStandardInput();
  if (!channel) {
    return kExitWrongUsage;
  }
  platform::leaveTerminal();
  std::string line;
  if (channel->receive(line, kWaitForRequest) != GuardChannel::Event::kLine) {
    return 0;
  }
  auto request = leaseRequestIn(line);
  if (!request) {
    channel->send("refused the guardian does not understand the holder");
    return kExitWrongUsage;
  }
  Guardian(Platform::current(), *std::move(channel), *std::move(request)).run();
  return 0;
}

}  // namespace kelvora
