#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "platform/SMCUserClient.h"
#include "platform/recorded/RecordedMachine.h"

namespace kelvora::platform {

/// A write that a recorded SMC took.
struct SMCWrite {
  std::uint32_t key = 0;         ///< packed
  std::vector<std::byte> bytes;  ///< as many as the key holds
};

/// An SMC that answers from a list of keys, with the command codes of the real one: 5 read bytes,
/// 6 write bytes, 8 key at index, 9 key info. An unknown key or index answers status 0, result 132
/// and size 0. Without a list there is no SMC service. Any thread.
class RecordedSMC : public SMCUserClient {
 public:
  explicit RecordedSMC(std::optional<std::vector<RecordedSMCKey>> keys);
  ~RecordedSMC() override;

  KernelStatus matchingServices(const char* serviceClass, IOObject& iterator) override;
  IOObject nextService(IOObject iterator) override;
  void release(IOObject object) override;
  KernelStatus openService(IOObject service, std::uint32_t type, IOObject& connection) override;
  KernelStatus closeService(IOObject connection) override;
  KernelStatus callStructMethod(IOObject connection, std::uint32_t selector,
                                std::span<const std::byte> input,
                                std::span<std::byte> output) override;

  /// The writes taken so far, oldest first.
  std::vector<SMCWrite> writes() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace kelvora::platform
