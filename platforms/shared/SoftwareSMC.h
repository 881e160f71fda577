#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "KelvoraCore/SMCRecords.h"

#include "ports/SMCUserClient.h"

namespace kelvora::platform {

/// An SMC service that is software: this class has IOKit's handles and checks the calls; `perform`
/// of the derived class answers them. Any thread; calls are performed one at a time.
class SoftwareSMC : public SMCUserClient {
 public:
  KernelStatus matchingServices(const char* serviceClass, IOObject& iterator) override;
  IOObject nextService(IOObject iterator) override;
  void release(IOObject object) override;
  KernelStatus openService(IOObject service, std::uint32_t type, IOObject& connection) override;
  KernelStatus closeService(IOObject connection) override;
  KernelStatus callStructMethod(IOObject connection, std::uint32_t selector,
                                std::span<const std::byte> input,
                                std::span<std::byte> output) override;

 protected:
  /// Whether there is an "AppleSMC" service at all.
  virtual bool hasService() const = 0;
  /// Whether this process may open it: 0, or the status that `openService` returns.
  virtual KernelStatus mayOpen() const { return kKernelSuccess; }
  /// Answers one call; `reply` is zeroed. Called under the lock.
  virtual KernelStatus perform(const SMCParamRecord& request, SMCParamRecord& reply) = 0;

  /// Copies at most 32 bytes into the payload of a reply.
  static void setPayload(SMCParamRecord& reply, std::span<const std::byte> payload);

  std::mutex& mutex() const { return mutex_; }

 private:
  enum class ObjectKind : std::uint8_t { kExhaustedIterator, kIterator, kService, kConnection };

  IOObject newObject(ObjectKind kind);
  bool dispose(IOObject object, ObjectKind kind);
  bool holds(IOObject object, ObjectKind kind) const;

  mutable std::mutex mutex_;
  std::vector<std::pair<IOObject, ObjectKind>> objects_;
  IOObject lastObject_ = 0;
};

}  // namespace kelvora::platform
