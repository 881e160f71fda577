#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <utility>
#include <vector>

#include "ports/SMCUserClient.h"

namespace kelvora::platform {

/// Where the fields of the 80-byte record stand, and the numbers that travel in them.
struct SMCRecordLayout {
  static constexpr std::size_t kBytes = 80;
  static constexpr std::size_t kMostPayloadBytes = 32;
  static constexpr std::size_t kKeyAt = 0;
  static constexpr std::size_t kDataSizeAt = 28;
  static constexpr std::size_t kDataTypeAt = 32;
  static constexpr std::size_t kAttributesAt = 36;
  static constexpr std::size_t kResultAt = 40;
  static constexpr std::size_t kCommandAt = 42;
  static constexpr std::size_t kIndexAt = 44;
  static constexpr std::size_t kPayloadAt = 48;

  static constexpr std::uint8_t kReadCommand = 5;
  static constexpr std::uint8_t kWriteCommand = 6;
  static constexpr std::uint8_t kKeyAtIndexCommand = 8;
  static constexpr std::uint8_t kKeyInfoCommand = 9;

  static constexpr std::uint8_t kUnknownKeyResult = 132;
  static constexpr std::uint8_t kUnreadableResult = 133;
  static constexpr std::uint8_t kWrongSizeResult = 135;
};

/// An SMC service that is software: IOKit's handles and the checks of a call stand here, what the
/// SMC answers is the derived class's `perform`. Any thread; calls are performed one at a time.
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
  /// A request or reply of 80 bytes with its fields.
  class Request;
  class Reply;

  /// Whether there is an "AppleSMC" service at all.
  virtual bool hasService() const = 0;
  /// Whether this process may open it: 0 or the status that `openService` answers.
  virtual KernelStatus mayOpen() const { return kKernelSuccess; }
  /// Answers one call; `reply` comes zeroed. Called under the lock.
  virtual KernelStatus perform(const Request& request, Reply& reply) = 0;

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

class SoftwareSMC::Request {
 public:
  explicit Request(std::span<const std::byte> record);
  std::uint8_t command() const;
  std::uint32_t key() const;
  std::uint32_t dataSize() const;
  std::uint32_t index() const;
  /// All 32 bytes.
  std::span<const std::byte> payload() const;

 private:
  // A copy: input and output of a call may be the same record.
  std::array<std::byte, SMCRecordLayout::kBytes> record_;
};

class SoftwareSMC::Reply {
 public:
  /// Clears the record.
  explicit Reply(std::span<std::byte> record);
  void setKey(std::uint32_t key);
  void setKeyInfo(std::uint32_t dataSize, std::uint32_t dataType, std::uint8_t attributes);
  void setResult(std::uint8_t result);
  /// At most 32 bytes are taken.
  void setPayload(std::span<const std::byte> payload);

 private:
  std::span<std::byte> record_;
};

}  // namespace kelvora::platform
