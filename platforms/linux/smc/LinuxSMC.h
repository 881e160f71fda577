#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platforms/linux/smc/AppleSMCFiles.h"
#include "platforms/linux/smc/DriverKeys.h"
#include "platforms/linux/smc/DriverSensors.h"
#include "platforms/shared/SoftwareSMC.h"

namespace kelvora::platform {

/// The SMC of a Mac that runs Linux, through the kernel's applesmc driver. Temperatures and fans
/// are read from the driver's own files for them, by any user. Every other key is there for root
/// only; for anyone else one line in the log says so when the service is first opened. The mode of
/// a fan, for which the driver has a file on every Mac, is in the list of keys only if root reads
/// that the SMC has it. The driver knows no attributes (0 here). It takes writes of "F0Md", "F0Tg"
/// and "F0Mn" and those of the other fans, from root; command 6 returns kKernelNotPermitted for
/// any other key.
class LinuxSMC : public SoftwareSMC {
 public:
  static constexpr const char* kDriverFolder = "/sys/devices/platform/applesmc.768";

  explicit LinuxSMC(
      std::unique_ptr<AppleSMCFiles> files = std::make_unique<AppleSMCFiles>(kDriverFolder));

 protected:
  bool hasService() const override;
  KernelStatus mayOpen() const override;
  KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) override;

  AppleSMCFiles& files() const { return *files_; }

 private:
  struct Key {
    DriverKey description;
    std::optional<unsigned> index;  ///< in the driver's list; only root has it
  };

  void listKeys();
  void listEveryKey();
  void listSensors();
  const Key* keyNamed(std::uint32_t name) const;
  KernelStatus write(const SMCParamRecord& request, SMCParamRecord& reply);
  std::optional<std::vector<std::byte>> payloadOf(const Key& key);
  void answerKeyAt(unsigned index, SMCParamRecord& reply) const;
  void answerRead(const Key& key, SMCParamRecord& reply);

  std::unique_ptr<AppleSMCFiles> files_;
  DriverKeys driverKeys_{*files_};
  // Made at the first call.
  std::optional<DriverSensors> sensors_;
  std::vector<std::optional<Key>> list_;  // by index; none for one that cannot be read
  std::map<std::uint32_t, Key> byName_;   // the first of a name counts
  mutable bool hasSaidWhatIsMissing_ = false;
};

}  // namespace kelvora::platform
