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
      key_(SMCPackedKey(key)),
      file_(DriverSensors::writableFile(key_)) {}

KernelStatus LinuxFanSMC::mayOpen() const {
  const KernelStatus status = file_ ? files().openForWriting(*file_) : kKernelSuccess;
  files().openForWriting("key_at_index");
  // Without the file there is no such key, which the calls report.
  return status == kKernelNoDevice ? kKernelSuccess : status;
}

KernelStatus LinuxFanSMC::perform(const SMCParamRecord& request, SMCParamRecord& reply) {
  const bool isMode = isFanMode(request.key);
  const bool isAsked = isMode && request.command == SMCCommandGetKeyInfo && request.key != key_;
  const bool takesFan = isMode && request.command == SMCCommandWriteBytes && request.bytes[0] != 0;
  if (!isAsked && !takesFan) {
    return LinuxSMC::perform(request, reply);
  }
  const auto hasKey = DriverKeys(files()).has(request.key);
  if (!hasKey) {
    return kKernelError;
  }
  if (!*hasKey) {
    reply.result = SMCResultKeyNotFound;
    return kKernelSuccess;
  }
  reply.keyInfo = {1, kByteType, 0, {}};
  return isAsked ? kKernelSuccess : LinuxSMC::perform(request, reply);
}

}  // namespace kelvora::platform
