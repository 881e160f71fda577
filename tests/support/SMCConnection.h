#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "ports/SMCUserClient.h"

namespace kelvora::testing {

/// An open connection to an SMC port, for tests that speak the 80-byte record themselves.
class SMCConnection {
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

  explicit SMCConnection(platform::SMCUserClient& smc) : smc_(smc) {
    platform::IOObject iterator = 0;
    smc.matchingServices("AppleSMC", iterator);
    const platform::IOObject service = smc.nextService(iterator);
    smc.release(iterator);
    openStatus = smc.openService(service, 0, handle_);
    smc.release(service);
  }
  ~SMCConnection() { smc_.closeService(handle_); }
  SMCConnection(const SMCConnection&) = delete;
  SMCConnection& operator=(const SMCConnection&) = delete;

  platform::IOObject handle() const { return handle_; }

  Reply call(std::uint8_t command, std::uint32_t key, std::uint32_t dataSize = 0,
             std::uint32_t index = 0, const std::vector<std::byte>& payload = {}) {
    std::array<std::byte, 80> input{};
    std::array<std::byte, 80> output{};
    std::memcpy(input.data(), &key, sizeof key);
    std::memcpy(input.data() + 28, &dataSize, sizeof dataSize);
    input[42] = static_cast<std::byte>(command);
    std::memcpy(input.data() + 44, &index, sizeof index);
    if (payload.size() > 32) {
      throw std::invalid_argument("a payload has at most 32 bytes");
    }
    std::copy(payload.begin(), payload.end(), input.begin() + 48);
    Reply reply;
    reply.status = smc_.callStructMethod(handle_, 2, input, output);
    std::memcpy(&reply.key, output.data(), sizeof reply.key);
    std::memcpy(&reply.dataSize, output.data() + 28, sizeof reply.dataSize);
    std::memcpy(&reply.dataType, output.data() + 32, sizeof reply.dataType);
    reply.attributes = static_cast<std::uint8_t>(output[36]);
    reply.result = static_cast<std::uint8_t>(output[40]);
    std::memcpy(reply.payload.data(), output.data() + 48, reply.payload.size());
    return reply;
  }

  platform::KernelStatus openStatus = 0;

 private:
  platform::SMCUserClient& smc_;
  platform::IOObject handle_ = 0;
};

}  // namespace kelvora::testing
