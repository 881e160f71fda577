#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "ports/IOKitTypes.h"

namespace kelvora::platform {

/// IOKit as the SMC is reached through it: one operation per call that IOKit offers, with the same
/// statuses, so that the macOS side only forwards. Implementations may be called on any thread.
class SMCUserClient {
 public:
  virtual ~SMCUserClient() = default;

  /// IOServiceGetMatchingServices on the default main port with IOServiceMatching(`serviceClass`),
  /// e.g. "AppleSMC". On success `iterator` is an iterator that the caller releases.
  virtual KernelStatus matchingServices(const char* serviceClass, IOObject& iterator) = 0;

  /// IOIteratorNext: the next service, which the caller releases, or 0 at the end.
  virtual IOObject nextService(IOObject iterator) = 0;

  /// IOObjectRelease on an iterator or a service.
  virtual void release(IOObject object) = 0;

  /// IOServiceOpen for the current task. On success `connection` is an open user client that
  /// lives until `closeService`.
  virtual KernelStatus openService(IOObject service, std::uint32_t type, IOObject& connection) = 0;

  /// IOServiceClose. Returns kKernelNotOpen for a handle that is no open connection.
  virtual KernelStatus closeService(IOObject connection) = 0;

  /// IOConnectCallStructMethod without scalars: sends `input`, fills `output`.
  /// Both are 80 bytes for the SMC, and may be the same memory; returns kKernelBadArgument for
  /// another size, kKernelNotOpen for a handle that is no open connection.
  virtual KernelStatus callStructMethod(IOObject connection, std::uint32_t selector,
                                        std::span<const std::byte> input,
                                        std::span<std::byte> output) = 0;
};

}  // namespace kelvora::platform
