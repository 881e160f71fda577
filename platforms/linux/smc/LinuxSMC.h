#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "platforms/linux/smc/AppleSMCFiles.h"
#include "platforms/shared/SoftwareSMC.h"

namespace kelvora::platform {

/// The SMC of a Mac that runs Linux, through the kernel's applesmc driver. The driver lets only
/// root choose a key, so for anyone else opening the service answers kIOReturnNotPermitted. The
/// driver tells no attributes (0 here) and takes no writes: command 6 answers
/// kIOReturnNotPermitted.
class LinuxSMC : public SoftwareSMC {
 public:
  static constexpr const char* kDriverFolder = "/sys/devices/platform/applesmc.768";

  explicit LinuxSMC(
      std::unique_ptr<AppleSMCFiles> files = std::make_unique<AppleSMCFiles>(kDriverFolder));

 protected:
  bool hasService() const override;
  KernelStatus mayOpen() const override;
  KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) override;

 private:
  struct Key {
    unsigned index = 0;
    std::uint32_t type = 0;
    std::uint32_t dataSize = 0;
  };

  const std::map<std::uint32_t, Key>& keys();
  std::optional<std::uint32_t> keyAt(unsigned index);
  void readPayload(const Key& key, SMCParamRecord& reply);

  std::unique_ptr<AppleSMCFiles> files_;
  std::optional<std::map<std::uint32_t, Key>> keys_;  // listed at the first question about a key
};

}  // namespace kelvora::platform
