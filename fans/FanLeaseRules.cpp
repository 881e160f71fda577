#include "fans/FanLeaseRules.h"

namespace kelvora {

namespace {

using S = HolderState;
using E = HolderEvent;
using A = HolderAction;

constexpr HolderRow kHolderRules[] = {
    // No fan is touched before a guardian watches.
    {S::kIdle, E::kTakeAsked, S::kStarting, A::kStartGuardian},
    {S::kStarting, E::kReady, S::kTaking, A::kTake},
    {S::kStarting, E::kRefused, S::kEnding, A::kClose},
    {S::kStarting, E::kGuardianSilent, S::kEnding, A::kClose},
    {S::kStarting, E::kGuardianGone, S::kEnding, A::kClose},
    {S::kTaking, E::kTaken, S::kHeld, A::kNothing},
    {S::kTaking, E::kTakeFailed, S::kHandingBack, A::kHandBack},
    {S::kHeld, E::kTakeAsked, S::kTaking, A::kTake},
    {S::kHeld, E::kRenewalDue, S::kHeld, A::kRenew},
    {S::kHeld, E::kReleaseAsked, S::kHandingBack, A::kHandBack},
    // A holder without a guardian would leave the fans behind if it were killed now.
    {S::kHeld, E::kGuardianExpired, S::kHandingBack, A::kHandBack},
    {S::kHeld, E::kGuardianSilent, S::kHandingBack, A::kHandBack},
    {S::kHeld, E::kGuardianGone, S::kHandingBack, A::kHandBack},
    // The channel stays open until the fans are back, so that the guardian keeps watching.
    {S::kHandingBack, E::kHandBackFailed, S::kHandingBack, A::kNothing},
    {S::kHandingBack, E::kRenewalDue, S::kHandingBack, A::kHandBack},
    {S::kHandingBack, E::kReleaseAsked, S::kHandingBack, A::kHandBack},
    {S::kHandingBack, E::kHandedBack, S::kEnding, A::kClose},
    // A guardian that does not answer is not killed: it hands the fans back as soon as it runs
    // again.
    {S::kEnding, E::kGuardianSilent, S::kEnded, A::kNothing},
    {S::kEnding, E::kGuardianGone, S::kEnded, A::kNothing},
};

using GS = GuardianState;
using GE = GuardianEvent;
using GA = GuardianAction;

constexpr GuardianRow kGuardianRules[] = {
    {GS::kPreparing, GE::kPrepared, GS::kWatching, GA::kSayReady},
    {GS::kPreparing, GE::kCannotPrepare, GS::kGone, GA::kRefuse},
    {GS::kWatching, GE::kRenewed, GS::kWatching, GA::kSayAlive},
    {GS::kWatching, GE::kTimeIsOver, GS::kExpired, GA::kHandBack},
    // Also before the first speed was written: the tool may be on its way.
    {GS::kWatching, GE::kChannelEnded, GS::kEnding, GA::kHandBack},
    // A late renewal changes nothing: the holder learns that its time is over and hands it back.
    {GS::kExpired, GE::kRenewed, GS::kExpired, GA::kSayExpired},
    {GS::kExpired, GE::kHandedBack, GS::kExpired, GA::kSayExpired},
    {GS::kExpired, GE::kHandBackFailed, GS::kExpired, GA::kSayExpired},
    {GS::kExpired, GE::kTimeIsOver, GS::kExpired, GA::kHandBack},
    {GS::kExpired, GE::kChannelEnded, GS::kEnding, GA::kHandBack},
    {GS::kEnding, GE::kHandBackFailed, GS::kEnding, GA::kNothing},
    {GS::kEnding, GE::kTimeIsOver, GS::kEnding, GA::kHandBack},
    {GS::kEnding, GE::kHandedBack, GS::kGone, GA::kLeave},
};

}  // namespace

std::span<const HolderRow> holderRules() { return kHolderRules; }

std::span<const GuardianRow> guardianRules() { return kGuardianRules; }

}  // namespace kelvora
