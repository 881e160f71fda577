#pragma once

#include <string>

#include "platforms/linux/smc/LinuxSMC.h"

namespace kelvora::platform {

/// The SMC of a Mac that runs Linux, for one write of a fan. Opening it opens the file that holds
/// the key, and the driver's list of keys; the calls afterwards need no rights.
///
/// The driver has "fan1_manual" for every Mac, also where the fan has no mode of its own and is set
/// by its minimum. So here "F0Md" is a key only if the SMC lists it: when "F0Mn" is written, and
/// when the mode takes the fan. Handing back (00) needs no list.
class LinuxFanSMC : public LinuxSMC {
 public:
  /// `key` is a key of a fan that can be written, e.g. "F0Tg".
  explicit LinuxFanSMC(const std::string& key, const std::string& folder = kDriverFolder);

  /// Whether the driver is there.
  bool exists() const { return files().exist(); }

 protected:
  /// kKernelNotPermitted if this user may not write the key's file.
  KernelStatus mayOpen() const override;
  /// kKernelError if the list cannot be read.
  KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) override;

 private:
  std::uint32_t key_;
  std::optional<std::string> file_;
};

}  // namespace kelvora::platform
