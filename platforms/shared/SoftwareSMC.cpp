#include "platforms/shared/SoftwareSMC.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace kelvora::platform {

namespace {

using Layout = SMCRecordLayout;

constexpr std::uint32_t kSelector = 2;

std::uint32_t numberAt(std::span<const std::byte> record, std::size_t offset) {
  std::uint32_t number = 0;
  std::memcpy(&number, record.data() + offset, sizeof number);
  return number;
}

void putNumber(std::span<std::byte> record, std::size_t offset, std::uint32_t number) {
  std::memcpy(record.data() + offset, &number, sizeof number);
}

}  // namespace

SoftwareSMC::Request::Request(std::span<const std::byte> record) {
  std::copy_n(record.begin(), record_.size(), record_.begin());
}

std::uint8_t SoftwareSMC::Request::command() const {
  return static_cast<std::uint8_t>(record_[Layout::kCommandAt]);
}

std::uint32_t SoftwareSMC::Request::key() const { return numberAt(record_, Layout::kKeyAt); }

std::uint32_t SoftwareSMC::Request::dataSize() const {
  return numberAt(record_, Layout::kDataSizeAt);
}

std::uint32_t SoftwareSMC::Request::index() const { return numberAt(record_, Layout::kIndexAt); }

std::span<const std::byte> SoftwareSMC::Request::payload() const {
  return std::span(record_).subspan(Layout::kPayloadAt);
}

SoftwareSMC::Reply::Reply(std::span<std::byte> record) : record_(record) {
  std::fill(record_.begin(), record_.end(), std::byte{0});
}

void SoftwareSMC::Reply::setKey(std::uint32_t key) { putNumber(record_, Layout::kKeyAt, key); }

void SoftwareSMC::Reply::setKeyInfo(std::uint32_t dataSize, std::uint32_t dataType,
                                    std::uint8_t attributes) {
  putNumber(record_, Layout::kDataSizeAt, dataSize);
  putNumber(record_, Layout::kDataTypeAt, dataType);
  record_[Layout::kAttributesAt] = static_cast<std::byte>(attributes);
}

void SoftwareSMC::Reply::setResult(std::uint8_t result) {
  record_[Layout::kResultAt] = static_cast<std::byte>(result);
}

void SoftwareSMC::Reply::setPayload(std::span<const std::byte> payload) {
  const auto taken = payload.first(std::min(payload.size(), Layout::kMostPayloadBytes));
  std::copy(taken.begin(), taken.end(), record_.begin() + Layout::kPayloadAt);
}

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
    return kIOReturnBadArgument;
  }
  const KernelStatus status = mayOpen();
  if (status == kKernelSuccess) {
    connection = newObject(ObjectKind::kConnection);
  }
  return status;
}

KernelStatus SoftwareSMC::closeService(IOObject connection) {
  const std::lock_guard lock(mutex_);
  return dispose(connection, ObjectKind::kConnection) ? kKernelSuccess : kIOReturnNotOpen;
}

KernelStatus SoftwareSMC::callStructMethod(IOObject connection, std::uint32_t selector,
                                           std::span<const std::byte> input,
                                           std::span<std::byte> output) {
  const std::lock_guard lock(mutex_);
  if (!holds(connection, ObjectKind::kConnection)) {
    return kIOReturnNotOpen;
  }
  if (selector != kSelector || input.size() != Layout::kBytes || output.size() != Layout::kBytes) {
    return kIOReturnBadArgument;
  }
  const Request request(input);
  Reply reply(output);
  return perform(request, reply);
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
