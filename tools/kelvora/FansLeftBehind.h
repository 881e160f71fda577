#pragma once

#include <string>
#include <vector>

#include "KelvoraCore/KVFanLeases.h"

namespace kelvora::tool {

/// The fans that were found left behind, each with a fault if it is not handed back.
struct FansLeftBehind {
  std::vector<KVLeasedFan> leased;
  std::vector<KVFanHandBack> withoutLease;

  bool isEmpty() const { return leased.empty() && withoutLease.empty(); }
  /// Whether all of them are handed back.
  bool areBack() const;
};

/// Hands back what programs have left behind on a machine that other programs share.
FansLeftBehind handBackLeftBehind(Platform& platform);

/// Says on standard error what was left behind and whether it was handed back, a line for each fan.
void reportLeftBehind(const FansLeftBehind& fans);

/// "kelvora (process 612)", or "another program" where that is not known.
std::string holderOf(const KVLeasedFan& lease);

}  // namespace kelvora::tool
