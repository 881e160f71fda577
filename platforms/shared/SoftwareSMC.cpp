#include "platforms/shared/SoftwareSMC.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace kelvora::platform {

KernelStatus SoftwareSMC::matchingServices(const char* serviceClass, IOObject& iterator) {
  const std::lock_guard lock(mutex_);
  const bool matches = hasService() && std::string_view(serviceClass) == "AppleSMC";
  iterator = newObject(matches ? ObjectKind::kIterator : ObjectKind::kExhaustedIterator);
  return kKernelSuccess;
}

IOObject SoftwareSMC::nextService(IOObject iterator) {
  const std::lock_guard lock(mutex_);
  if (!dispose(iterator, ObjectKind::kIterator)) {
    return 0;
  }
  objects_.emplace_back(iterator, ObjectKind::kExhaustedIterator);
  return newObject(ObjectKind::kService);
}

void SoftwareSMC::release(IOObject object) {
  const std::lock_guard lock(mutex_);
  for (const auto kind :
       {ObjectKind::kExhaustedIterator, ObjectKind::kIterator, ObjectKind::kService}) {
    if (dispose(object, kind)) {
      return;
    }
  }
}

KernelStatus SoftwareSMC::openService(IOObject service, std::uint32_t, IOObject& connection) {
  const std::lock_guard lock(mutex_);
  if (!holds(service, ObjectKind::kService)) {
    return kKernelBadArgument;
  }
  const KernelStatus status = mayOpen();
  if (status == kKernelSuccess) {
    connection = newObject(ObjectKind::kConnection);
  }
  return status;
}

KernelStatus SoftwareSMC::closeService(IOObject connection) {
  const std::lock_guard lock(mutex_);
  return dispose(connection, ObjectKind::kConnection) ? kKernelSuccess : kKernelNotOpen;
}

KernelStatus SoftwareSMC::callStructMethod(IOObject connection, std::uint32_t selector,
                                           std::span<const std::byte> input,
                                           std::span<std::byte> output) {
  const std::lock_guard lock(mutex_);
  if (!holds(connection, ObjectKind::kConnection)) {
    return kKernelNotOpen;
  }
  if (selector != SMCSelector || input.size() != sizeof(SMCParamRecord) ||
      output.size() != sizeof(SMCParamRecord)) {
    return kKernelBadArgument;
  }
  SMCParamRecord request;
  std::memcpy(&request, input.data(), sizeof request);
  SMCParamRecord reply;
  const KernelStatus status = perform(request, reply);
  std::memcpy(output.data(), &reply, sizeof reply);
  return status;
}

void SoftwareSMC::setPayload(SMCParamRecord& reply, std::span<const std::byte> payload) {
  std::copy_n(payload.begin(), std::min(payload.size(), sizeof reply.bytes),
              std::as_writable_bytes(std::span(reply.bytes)).begin());
}

IOObject SoftwareSMC::newObject(ObjectKind kind) {
  objects_.emplace_back(++lastObject_, kind);
  return lastObject_;
}

bool SoftwareSMC::dispose(IOObject object, ObjectKind kind) {
  return std::erase(objects_, std::pair(object, kind)) > 0;
}

bool SoftwareSMC::holds(IOObject object, ObjectKind kind) const {
  return std::find(objects_.begin(), objects_.end(), std::pair(object, kind)) != objects_.end();
}

}  // namespace kelvora::platform
