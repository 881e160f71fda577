#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KelvoraCore/KVFanLease.h"
#include "KelvoraCore/KVFanLeases.h"

#include "tools/kelvora/FanReader.h"

namespace kelvora::tool {

/// The names by which other programs know a process of this program that holds fans: one that holds
/// them until it is asked to end, and one that also ends with its time or its terminal.
inline constexpr char kLastingHolder[] = "kelvora";
inline constexpr char kPassingHolder[] = "kelvora fans hold";

/// Whether a running process of this program holds the fan.
bool isOwnHolder(const KVLeasedFan& lease);

/// The other fans of the own lasting holders that have any of `fans`, at the speeds that they have
/// now. Those of a passing one are not for another process to keep.
std::vector<KVFanSpeed> otherFansOfHolders(const std::vector<std::uint64_t>& fans,
                                           const std::vector<FanState>& states);

/// Those of the fans that no own holder has any more.
std::vector<KVFanSpeed> withoutHolder(const std::vector<KVFanSpeed>& fans,
                                      const std::vector<FanState>& states);

/// Says of each fan, but for those that were to be handed back, that its own holder has ended.
void reportHandedBack(const std::vector<FanState>& before, const std::vector<FanState>& after,
                      const std::vector<std::uint64_t>& expected = {});

/// Asks this program's holders of any of `fans` to end, and waits until all their fans are handed
/// back. Returns those that did not end in time, one lease each.
std::vector<KVLeasedFan> endOwnHolders(const std::vector<std::uint64_t>& fans, Platform& platform);

/// Starts a process of this program that holds the fans until it is asked to end, and waits until
/// it holds them. Returns 0 if it keeps running, else an exit status, with the reason on standard
/// error. `more` are further arguments of 'kelvora fans hold'.
int startHolder(const std::vector<KVFanSpeed>& speeds, const std::vector<std::string>& more = {});

}  // namespace kelvora::tool
