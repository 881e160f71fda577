#pragma once

#include <string>

#include "KelvoraCore/SMCRecords.h"

#include "hardware/SMCConnection.h"
#include "tools/smc/Failure.h"
#include "tools/smc/FanWriteRequest.h"
#include "tools/smc/StrictSMC.h"

namespace kelvora::tool {

/// Checks a request against the SMC and writes it. Only `open` may need rights.
class FanWriter {
 public:
  /// `smc` outlives the object.
  explicit FanWriter(platform::SMCUserClient& smc) : smc_(smc) {}

  /// Opens the SMC. Throws a Failure that names `key`.
  void open(const std::string& key);

  /// Writes the bytes with the operation of SMCWriteKey, if they are what the key holds: a mode 00
  /// or 01, a target from "F%cMn" to "F%cMx" as they are now, a minimum from 0 to "F%cMx" of a fan
  /// without a mode. Throws a Failure; nothing was written then, except that with kWriteFailed the
  /// value may have arrived.
  void write(const FanWriteRequest& request);

 private:
  SMCKeyInfo description(const std::string& key);
  Failure unknownKey(const std::string& key, platform::KernelStatus status) const;
  void checkHasNoMode(const FanWriteRequest& request);
  float limit(const FanWriteRequest& request, const char* suffix);
  void checkSpeed(const FanWriteRequest& request, SMCValueRecord value);
  std::string reason(platform::KernelStatus status) const;

  StrictSMC smc_;
  SMCConnection connection_{smc_};
};

}  // namespace kelvora::tool
