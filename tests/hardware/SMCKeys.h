#pragma once

#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

#include "platform/recorded/RecordedSMC.h"
#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"

namespace kelvora::testing {

inline platform::RecordedSMCKey smcKey(const char (&key)[5], const char (&type)[5],
                                       std::initializer_list<int> bytes) {
  platform::RecordedSMCKey made;
  made.key = packedKey(key);
  made.type = packedKey(type);
  for (const int byte : bytes) made.bytes.push_back(static_cast<std::byte>(byte));
  return made;
}

/// Installs a Mac whose SMC holds exactly these keys, and watches its calls.
inline ForwardingSMC& installSMC(std::vector<platform::RecordedSMCKey> keys) {
  platform::RecordedMachine machine;
  machine.title = "Test Mac";
  machine.smcKeys = std::move(keys);
  return ForwardingSMC::wrap(installRecordedPlatform(std::move(machine)));
}

/// Commands of the calls so far, in order.
inline std::vector<int> commands(const ForwardingSMC& smc) {
  std::vector<int> result;
  for (const SMCCallRecord& call : smc.calls()) result.push_back(call.command);
  return result;
}

}  // namespace kelvora::testing
