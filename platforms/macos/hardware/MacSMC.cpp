#include "platforms/macos/hardware/MacSMC.h"

#include <mutex>

#include <IOKit/IOKitLib.h>

#include "platforms/macos/hardware/MatchingServices.h"

namespace kelvora::platform {

// The kernel's statuses, which the SDK defines as macros of signed numbers.
static_assert(kKernelError == static_cast<KernelStatus>(kIOReturnError));
static_assert(kKernelNoDevice == static_cast<KernelStatus>(kIOReturnNoDevice));
static_assert(kKernelBadArgument == static_cast<KernelStatus>(kIOReturnBadArgument));
static_assert(kKernelIOError == static_cast<KernelStatus>(kIOReturnIOError));
static_assert(kKernelNotOpen == static_cast<KernelStatus>(kIOReturnNotOpen));
static_assert(kKernelNotPermitted == static_cast<KernelStatus>(kIOReturnNotPermitted));

MacSMC::~MacSMC() {
  for (const IOObject connection : connections_) {
    IOServiceClose(connection);
  }
}

KernelStatus MacSMC::matchingServices(const char* serviceClass, IOObject& iterator) {
  return findMatchingServices(serviceClass, &iterator);
}

IOObject MacSMC::nextService(IOObject iterator) { return IOIteratorNext(iterator); }

void MacSMC::release(IOObject object) { IOObjectRelease(object); }

KernelStatus MacSMC::openService(IOObject service, std::uint32_t type, IOObject& connection) {
  const std::lock_guard lock(mutex_);
  const kern_return_t status = IOServiceOpen(service, mach_task_self(), type, &connection);
  if (status == KERN_SUCCESS) {
    connections_.insert(connection);
  }
  return static_cast<KernelStatus>(status);
}

KernelStatus MacSMC::closeService(IOObject connection) {
  const std::lock_guard lock(mutex_);
  if (connections_.erase(connection) == 0) {
    return kKernelNotOpen;
  }
  return static_cast<KernelStatus>(IOServiceClose(connection));
}

KernelStatus MacSMC::callStructMethod(IOObject connection, std::uint32_t selector,
                                      std::span<const std::byte> input,
                                      std::span<std::byte> output) {
  const std::shared_lock lock(mutex_);
  if (!connections_.contains(connection)) {
    return kKernelNotOpen;
  }
  std::size_t outputSize = output.size();
  return static_cast<KernelStatus>(IOConnectCallStructMethod(
      connection, selector, input.data(), input.size(), output.data(), &outputSize));
}

}  // namespace kelvora::platform
