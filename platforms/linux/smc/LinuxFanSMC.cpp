#include "platforms/linux/smc/LinuxFanSMC.h"

namespace kelvora::platform {

namespace {

class FilesOfFans : public AppleSMCFiles {
 public:
  using AppleSMCFiles::AppleSMCFiles;
  bool mayChooseKeys() const override { return false; }
};

}  // namespace

LinuxFanSMC::LinuxFanSMC(const std::string& key, const std::string& folder)
    : LinuxSMC(std::make_unique<FilesOfFans>(folder)),
      file_(DriverSensors::writableFile(SMCPackedKey(key))) {}

KernelStatus LinuxFanSMC::mayOpen() const {
  const KernelStatus status = file_ ? files().openForWriting(*file_) : kKernelSuccess;
  // Without the file there is no such key, which the calls report.
  return status == kIOReturnNoDevice ? kKernelSuccess : status;
}

}  // namespace kelvora::platform
