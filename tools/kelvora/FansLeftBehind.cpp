#include "tools/kelvora/FansLeftBehind.h"

#include <algorithm>

#include "tools/kelvora/Report.h"

namespace kelvora::tool {

namespace {

void reportOne(std::uint64_t fan, const std::string& what, const std::string& fault) {
  say("fan " + std::to_string(fan) + ": " + what +
      (fault.empty() ? ", handed back" : ", not handed back: " + fault));
}

}  // namespace

bool FansLeftBehind::areBack() const {
  return std::ranges::all_of(leased, &std::string::empty, &KVLeasedFan::fault) &&
         std::ranges::all_of(withoutLease, &std::string::empty, &KVFanHandBack::fault);
}

FansLeftBehind handBackLeftBehind(Platform& platform) {
  auto leased = KVFanLeases::handBackLeftBehind(platform);
  return {std::move(leased), KVFanLeases::handBackWithoutLease(platform)};
}

void reportLeftBehind(const FansLeftBehind& fans) {
  for (const KVLeasedFan& fan : fans.leased) {
    reportOne(fan.fan, "left behind by " + holderOf(fan), fan.fault);
  }
  for (const KVFanHandBack& fan : fans.withoutLease) {
    reportOne(fan.fan, "at a fixed speed without a lease", fan.fault);
  }
}

std::string holderOf(const KVLeasedFan& lease) {
  return lease.processIdentifier == 0
             ? "another program"
             : lease.program + " (process " + std::to_string(lease.processIdentifier) + ")";
}

}  // namespace kelvora::tool
