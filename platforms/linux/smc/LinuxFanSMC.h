#pragma once

#include <string>

#include "platforms/linux/smc/LinuxSMC.h"

namespace kelvora::platform {

/// The SMC of a Mac that runs Linux, for one write of a fan. Opening it opens the file that holds
/// the key; the calls afterwards need no rights. It never chooses keys by index.
class LinuxFanSMC : public LinuxSMC {
 public:
  /// `key` is a key of a fan that can be written, e.g. "F0Tg".
  explicit LinuxFanSMC(const std::string& key, const std::string& folder = kDriverFolder);

  /// Whether the driver is there.
  bool exists() const { return files().exist(); }

 protected:
  /// kIOReturnNotPermitted if this user may not write the key's file.
  KernelStatus mayOpen() const override;

 private:
  std::optional<std::string> file_;
};

}  // namespace kelvora::platform
