#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KelvoraCore/KVFanLeases.h"
#include "KelvoraCore/KVProcessLock.h"

#include "base/UTF8Text.h"
#include "fans/LeaseRecord.h"
#include "fans/ToolWrites.h"
#include "hardware/FanKeys.h"
#include "hardware/KeyReading.h"
#include "ports/Ports.h"
#include "ports/ProgramNames.h"
#include "product/ChildOutput.h"
#include "sysinfo/ModelQuery.h"
#include "sysinfo/ProcessList.h"

namespace kelvora {

namespace {

// A fan at a fixed speed, with its lock.
struct FixedFan {
  std::uint64_t fan = 0;
  FanWrite handBack;
  std::unique_ptr<KVProcessLock> lock = {};
};

FanWrite modeOf(std::uint64_t fan) { return handBackWrite(FanScheme::kModeAndTarget, 0, fan); }

// A lease that is on the disk says what becomes of its fan.
std::vector<FixedFan> fixedFansWithoutLease(Platform& platform) {
  std::vector<std::string> keys;
  for (std::uint64_t fan = 0; fan < kFanCharacters.size(); ++fan) {
    keys.push_back(modeOf(fan).key);
  }
  const std::vector<std::string> fixed = nonzeroKeys(platform, std::move(keys));
  std::vector<FixedFan> fans;
  for (std::uint64_t fan = 0; fan < kFanCharacters.size(); ++fan) {
    FanWrite mode = modeOf(fan);
    if (std::ranges::find(fixed, mode.key) != fixed.end() && !hasLeaseFiles(platform, fan)) {
      fans.push_back({fan, std::move(mode)});
    }
  }
  return fans;
}

// Nobody can take a fan while its lock is held; a program may have done so just before.
void lockThoseThatStayed(Platform& platform, std::vector<FixedFan>& fans) {
  for (FixedFan& fan : fans) {
    fan.lock = std::make_unique<KVProcessLock>(leaseName(fan.fan), platform);
  }
  std::erase_if(fans, [&platform](const FixedFan& fan) {
    return fan.lock->state() != KVProcessLock::State::kHeld || hasLeaseFiles(platform, fan.fan) ||
           nonzeroKeys(platform, {fan.handBack.key}).empty();
  });
}

std::vector<std::int64_t> guardiansOfTheAccount(Platform& platform) {
  std::vector<std::int64_t> guardians;
  for (std::uint64_t fan = 0; fan < kFanCharacters.size(); ++fan) {
    if (const auto record = readLease(platform, fan).record) {
      guardians.push_back(record->guardian);
    }
  }
  return guardians;
}

bool isGuardian(const CPUTopProcess& process) {
  // Linux cuts a program's name to this length.
  constexpr std::size_t kLinuxLength = 15;
  return process.command.size() >= kLinuxLength &&
         std::string_view(kGuardianName).starts_with(process.command);
}

// The leases of another account cannot be read, but its guardians are in the list of processes. A
// recorded Mac is of one account.
bool mayBeHeldInAnotherAccount(Platform& platform) {
  if (!platform.isLive()) {
    return false;
  }
  const platform::ChildLaunch list = platform.childProcesses().launch(processListRequest());
  const std::string text = list.child ? validUTF8(readToEnd(*list.child)) : "";
  const std::vector<std::int64_t> own = guardiansOfTheAccount(platform);
  return text.empty() ||
         std::ranges::any_of(parseProcessList(text, -1), [&own](const auto& process) {
           return isGuardian(process) && std::ranges::find(own, process.pid) == own.end();
         });
}

}  // namespace

std::vector<KVFanHandBack> KVFanLeases::handBackWithoutLease(Platform& platform) {
  ToolWrites tool(platform, kLongestHandBack);
  if (!tool.isInstalled()) {
    return {};
  }
  std::vector<FixedFan> fans = fixedFansWithoutLease(platform);
  if (fans.empty() || !queryT2ChipSupport(platform)) {
    return {};
  }
  lockThoseThatStayed(platform, fans);
  if (fans.empty() || mayBeHeldInAnotherAccount(platform)) {
    return {};
  }
  std::vector<ToolWrites::HandBack> handBacks;
  handBacks.reserve(fans.size());
  for (const FixedFan& fan : fans) {
    handBacks.push_back({fan.handBack});
  }
  tool.handBack(handBacks);
  std::vector<KVFanHandBack> results;
  for (std::size_t i = 0; i < fans.size(); ++i) {
    results.push_back({fans[i].fan, handBacks[i].isWritten, handBacks[i].fault});
  }
  return results;
}

}  // namespace kelvora
