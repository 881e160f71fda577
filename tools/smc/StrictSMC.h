#pragma once

#include <cstdint>

#include "KelvoraCore/SMCRecords.h"

#include "ports/SMCUserClient.h"

namespace kelvora::tool {

/// An SMC that fails when its reply has a result other than success. The operations of SMC.h look
/// only at the status of the call; through this client they also fail when the SMC itself refuses,
/// with kKernelError.
class StrictSMC : public platform::SMCUserClient {
 public:
  /// `behind` outlives the object.
  explicit StrictSMC(platform::SMCUserClient& behind) : behind_(behind) {}

  platform::KernelStatus matchingServices(const char* serviceClass,
                                          platform::IOObject& iterator) override {
    return behind_.matchingServices(serviceClass, iterator);
  }
  platform::IOObject nextService(platform::IOObject iterator) override {
    return behind_.nextService(iterator);
  }
  void release(platform::IOObject object) override { behind_.release(object); }
  platform::KernelStatus openService(platform::IOObject service, std::uint32_t type,
                                     platform::IOObject& connection) override {
    return behind_.openService(service, type, connection);
  }
  platform::KernelStatus closeService(platform::IOObject connection) override {
    return behind_.closeService(connection);
  }
  platform::KernelStatus callStructMethod(platform::IOObject connection, std::uint32_t selector,
                                          std::span<const std::byte> input,
                                          std::span<std::byte> output) override {
    const platform::KernelStatus status =
        behind_.callStructMethod(connection, selector, input, output);
    if (status != platform::kKernelSuccess) {
      return status;
    }
    result_ = std::to_integer<std::uint8_t>(output[offsetof(SMCParamRecord, result)]);
    return result_ == SMCResultSuccess ? status : platform::kKernelError;
  }

  /// The result byte of the last reply, e.g. 132; 0 if there was none.
  std::uint8_t result() const { return result_; }

 private:
  platform::SMCUserClient& behind_;
  std::uint8_t result_ = SMCResultSuccess;
};

}  // namespace kelvora::tool
