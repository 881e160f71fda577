#pragma once

#include <utility>
#include <vector>

#include "tests/support/ForwardingSMC.h"
#include "tests/support/RecordedMachines.h"
#include "tests/support/SMCKeys.h"

namespace kelvora::testing {

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
  for (const SMCCallRecord& call : smc.calls()) {
    result.push_back(call.command);
  }
  return result;
}

}  // namespace kelvora::testing
