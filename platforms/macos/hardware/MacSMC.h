#pragma once

#include <set>
#include <shared_mutex>

#include "ports/SMCUserClient.h"

namespace kelvora::platform {

/// The SMC of this Mac: each operation is one call of IOKit, on the default main port. Any thread.
/// A connection is closed after the calls on it that are under way.
class MacSMC : public SMCUserClient {
 public:
  MacSMC() = default;
  MacSMC(const MacSMC&) = delete;
  MacSMC& operator=(const MacSMC&) = delete;
  /// Closes what is still open.
  ~MacSMC() override;

  KernelStatus matchingServices(const char* serviceClass, IOObject& iterator) override;
  IOObject nextService(IOObject iterator) override;
  void release(IOObject object) override;
  KernelStatus openService(IOObject service, std::uint32_t type, IOObject& connection) override;
  KernelStatus closeService(IOObject connection) override;
  KernelStatus callStructMethod(IOObject connection, std::uint32_t selector,
                                std::span<const std::byte> input,
                                std::span<std::byte> output) override;

 private:
  // The kernel gives the number of a closed connection to something else, so a number that a
  // caller still has must not reach it.
  std::shared_mutex mutex_;
  std::set<IOObject> connections_;
};

}  // namespace kelvora::platform
