#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

#include "KelvoraCore/SMCRecords.h"

#include "ports/SMCUserClient.h"

namespace kelvora::testing {

/// An open connection to an SMC port, for tests that send the 80-byte records themselves.
class RawSMC {
 public:
  struct Reply {
    platform::KernelStatus status = 0;
    std::uint32_t key = 0;
    std::uint32_t dataSize = 0;
    std::uint32_t dataType = 0;
    std::uint8_t attributes = 0;
    std::uint8_t result = 0;
    std::array<std::byte, 32> payload{};
  };

  explicit RawSMC(platform::SMCUserClient& smc) : smc_(smc) {
    platform::IOObject iterator = 0;
    smc.matchingServices("AppleSMC", iterator);
    const platform::IOObject service = smc.nextService(iterator);
    smc.release(iterator);
    openStatus = smc.openService(service, 0, handle_);
    smc.release(service);
  }
  ~RawSMC() { smc_.closeService(handle_); }
  RawSMC(const RawSMC&) = delete;
  RawSMC& operator=(const RawSMC&) = delete;

  platform::IOObject handle() const { return handle_; }

  Reply call(std::uint8_t command, std::uint32_t key, std::uint32_t dataSize = 0,
             std::uint32_t index = 0, const std::vector<std::byte>& payload = {}) {
    SMCParamRecord input;
    input.key = key;
    input.keyInfo.dataSize = dataSize;
    input.command = command;
    input.data32 = index;
    if (payload.size() > sizeof input.bytes) {
      throw std::invalid_argument("a payload has at most 32 bytes");
    }
    std::ranges::copy(payload, std::as_writable_bytes(std::span(input.bytes)).begin());
    SMCParamRecord output;
    Reply reply;
    reply.status = smc_.callStructMethod(handle_, SMCSelector, std::as_bytes(std::span(&input, 1)),
                                         std::as_writable_bytes(std::span(&output, 1)));
    reply.key = output.key;
    reply.dataSize = output.keyInfo.dataSize;
    reply.dataType = output.keyInfo.dataType;
    reply.attributes = output.keyInfo.dataAttributes;
    reply.result = output.result;
    std::ranges::copy(std::as_bytes(std::span(output.bytes)), reply.payload.begin());
    return reply;
  }

  platform::KernelStatus openStatus = 0;

 private:
  platform::SMCUserClient& smc_;
  platform::IOObject handle_ = 0;
};

}  // namespace kelvora::testing
