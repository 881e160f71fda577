#include "hardware/SMCConnection.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <span>

#include "KelvoraCore/SMC.h"

namespace kelvora {

using platform::IOObject;
using platform::KernelStatus;

std::uint32_t SMCConnection::open() {
  const Opening opening = openSilently();
  if (opening.failedCall != nullptr) {
    std::printf("Error: %s() = %08x\n", opening.failedCall, opening.status);
  } else if (opening.status != platform::kKernelSuccess) {
    std::printf("Error: no SMC found\n");
  }
  return opening.status == platform::kKernelSuccess ? 0 : 1;
}

// The handle is replaced in one step, so that a thread that reads has the old one or the new one,
// and the old one stays open.
SMCConnection::Opening SMCConnection::openSilently() {
  IOObject connection = 0;
  const Opening opening = openFirstService(connection);
  handle_ = connection;
  return opening;
}

// `connection` is 0 and stays so on failure.
SMCConnection::Opening SMCConnection::openFirstService(IOObject& connection) {
  IOObject iterator = 0;
  KernelStatus status = userClient_.matchingServices("AppleSMC", iterator);
  if (status != platform::kKernelSuccess) {
    return {status, "IOServiceGetMatchingServices"};
  }
  const IOObject service = userClient_.nextService(iterator);
  userClient_.release(iterator);
  if (service == 0) {
    return {platform::kKernelNoDevice, nullptr};
  }
  IOObject opened = 0;
  status = userClient_.openService(service, 0, opened);
  userClient_.release(service);
  if (status != platform::kKernelSuccess) {
    return {status, "IOServiceOpen"};
  }
  connection = opened;
  return {};
}

KernelStatus SMCConnection::close() { return userClient_.closeService(handle_); }

KernelStatus SMCConnection::call(std::uint32_t selector, const SMCParamRecord& input,
                                 SMCParamRecord& output) const {
  return userClient_.callStructMethod(handle_, selector, std::as_bytes(std::span(&input, 1)),
                                      std::as_writable_bytes(std::span(&output, 1)));
}

KernelStatus SMCConnection::getKeyInfo(std::uint32_t packedKey, SMCKeyInfo& info) {
  const std::lock_guard lock(cache_);
  if (const SMCKeyInfo* known = cache_.find(packedKey)) {
    info = *known;
    return platform::kKernelSuccess;
  }
  SMCParamRecord request;
  SMCParamRecord reply;
  request.key = packedKey;
  request.command = SMCCommandGetKeyInfo;
  const KernelStatus status = call(SMCSelector, request, reply);
  if (status == platform::kKernelSuccess) {
    info = {packedKey, reply.keyInfo.dataSize, reply.keyInfo.dataType,
            reply.keyInfo.dataAttributes};
    cache_.append(info);
  }
  return status;
}

KernelStatus SMCConnection::readKey(std::uint32_t packedKey, SMCValueRecord& value) {
  value = {};
  SMCConvertNumberToString(value.key, packedKey);
  SMCKeyInfo info;
  const KernelStatus infoStatus = getKeyInfo(packedKey, info);
  if (infoStatus != platform::kKernelSuccess) {
    return infoStatus;
  }
  value.dataSize = info.dataSize;
  SMCConvertNumberToString(value.dataType, info.dataType);

  SMCParamRecord request;
  SMCParamRecord reply;
  request.key = packedKey;
  request.keyInfo.dataSize = info.dataSize;
  request.command = SMCCommandReadBytes;
  const KernelStatus status = call(SMCSelector, request, reply);
  if (status == platform::kKernelSuccess) {
    std::ranges::copy(reply.bytes, value.bytes);
  }
  return status;
}

// By the packed key, so that a key with a NUL inside, which no text can name, is readable too.
KernelStatus SMCConnection::readKeyByIndex(std::uint32_t index, SMCValueRecord& value) {
  SMCParamRecord request;
  SMCParamRecord reply;
  request.command = SMCCommandKeyAtIndex;
  request.data32 = index;
  const KernelStatus status = call(SMCSelector, request, reply);
  if (status != platform::kKernelSuccess) {
    return status;
  }
  if (reply.result != SMCResultSuccess) {
    return platform::kKernelError;
  }
  return readKey(reply.key, value);
}

KernelStatus SMCConnection::writeKey(std::uint32_t packedKey, const SMCValueRecord& value) {
  SMCValueRecord current;
  const KernelStatus status = readKey(packedKey, current);
  if (status != platform::kKernelSuccess) {
    return status;
  }
  if (current.dataSize != value.dataSize) {
    return platform::kKernelError;
  }
  SMCParamRecord request;
  SMCParamRecord reply;
  request.key = packedKey;
  request.keyInfo.dataSize = current.dataSize;
  request.command = SMCCommandWriteBytes;
  std::ranges::copy(value.bytes, request.bytes);
  return call(SMCSelector, request, reply);
}

}  // namespace kelvora
