#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "KelvoraCore/SMCRecords.h"

#include "hardware/SMCKeyInfoCache.h"
#include "ports/SMCUserClient.h"

namespace kelvora {

class Platform;

/// A connection to the SMC of one machine, with the key information that was read through it. The
/// operations are those of SMC.h, with the same results. Any thread.
class SMCConnection {
 public:
  /// Not open yet. `userClient` must outlive the connection.
  explicit SMCConnection(platform::SMCUserClient& userClient) : userClient_(userClient) {}
  SMCConnection(const SMCConnection&) = delete;
  SMCConnection& operator=(const SMCConnection&) = delete;

  /// The connection of the process to the current platform, which the functions of SMC.h use.
  /// Created on first use and never destroyed.
  static const std::shared_ptr<SMCConnection>& ofProcess();
  /// The connection of the process if `platform` is the current one, else a new one.
  static std::shared_ptr<SMCConnection> to(const Platform& platform);

  /// How opening ended.
  struct Opening {
    platform::KernelStatus status = platform::kKernelSuccess;
    const char* failedCall = nullptr;  ///< e.g. "IOServiceOpen"; null if there is no SMC
  };

  std::uint32_t open();
  /// Opens as `open` does, and prints nothing.
  Opening openSilently();
  platform::KernelStatus close();
  platform::KernelStatus call(std::uint32_t selector, const SMCParamRecord& input,
                              SMCParamRecord& output) const;
  platform::KernelStatus getKeyInfo(std::uint32_t packedKey, SMCKeyInfo& info);
  platform::KernelStatus readKey(std::uint32_t packedKey, SMCValueRecord& value);
  platform::KernelStatus readKeyByIndex(std::uint32_t index, SMCValueRecord& value);
  platform::KernelStatus writeKey(std::uint32_t packedKey, const SMCValueRecord& value);

 private:
  Opening openFirstService(platform::IOObject& connection);

  platform::SMCUserClient& userClient_;
  std::atomic<platform::IOObject> handle_ = 0;
  SMCKeyInfoCache cache_;
};

}  // namespace kelvora
