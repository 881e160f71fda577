#include "KelvoraCore/SMC.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <span>

#include "hardware/SMCKeyInfoCache.h"
#include "hardware/SMCReading.h"
#include "ports/Ports.h"

namespace kelvora {

namespace {

using platform::IOObject;
using platform::KernelStatus;

constexpr std::uint32_t kSelector = 2;
constexpr std::size_t kCodeLength = 4;

enum Command : std::uint8_t {
  kReadBytes = 5,
  kWriteBytes = 6,
  kKeyAtIndex = 8,
  kGetKeyInfo = 9,
};

std::atomic<IOObject> conn{0};

platform::SMCUserClient& userClient() { return Platform::current().smc(); }

KernelStatus send(const SMCParamRecord& request, SMCParamRecord& reply) {
  return SMCCall(kSelector, &request, &reply);
}

// Of a text that may be shorter: what is missing is NUL.
std::uint32_t packed(const char* text) {
  std::uint32_t code = 0;
  bool ended = false;
  for (std::size_t i = 0; i < kCodeLength; ++i) {
    ended = ended || text[i] == '\0';
    code = code << 8 | (ended ? 0U : static_cast<unsigned char>(text[i]));
  }
  return code;
}

void unpack(std::uint32_t code, char (&text)[5]) { SMCConvertNumberToString(text, code); }

KernelStatus getKeyInfo(std::uint32_t packedKey, SMCKeyInfo& info, SMCExchange& exchange) {
  // The lock is held across the call: threads that miss at once ask the SMC one after the other.
  SMCKeyInfoCacheAccess cache;
  if (const SMCKeyInfo* known = cache.find(packedKey)) {
    info = *known;
    return platform::kKernelSuccess;
  }
  auto& [request, reply] = exchange;
  request.key = packedKey;
  request.keyInfo.dataSize = 0;
  request.command = kGetKeyInfo;
  const KernelStatus status = send(request, reply);
  if (status == platform::kKernelSuccess) {
    info = {packedKey, reply.keyInfo.dataSize, reply.keyInfo.dataType,
            reply.keyInfo.dataAttributes};
    cache.append(info);
  }
  return status;
}

// By the packed code, so that a key with a NUL inside, which no text can name, is readable too.
KernelStatus readKey(std::uint32_t packedKey, SMCValueRecord& value) {
  SMCKeyInfo info;
  SMCExchange exchange;
  const KernelStatus status = smcReadPayload(packedKey, info, exchange);
  value = {};
  unpack(packedKey, value.key);
  value.dataSize = info.dataSize;
  unpack(info.dataType, value.dataType);
  if (status == platform::kKernelSuccess) {
    std::memcpy(value.bytes, exchange.reply.bytes, sizeof value.bytes);
  }
  return status;
}

// The first service that matches, or 0 after a message.
IOObject firstService() {
  IOObject iterator = 0;
  const KernelStatus status = userClient().matchingServices("AppleSMC", iterator);
  if (status != platform::kKernelSuccess) {
    std::printf("Error: IOServiceGetMatchingServices() = %08x\n", status);
    return 0;
  }
  const IOObject service = userClient().nextService(iterator);
  userClient().release(iterator);
  if (service == 0) {
    std::printf("Error: no SMC found\n");
  }
  return service;
}

}  // namespace

std::uint32_t SMCOpen() {
  conn = 0;
  const IOObject service = firstService();
  if (service == 0) {
    return 1;
  }
  IOObject connection = 0;
  const KernelStatus status = userClient().openService(service, 0, connection);
  userClient().release(service);
  if (status != platform::kKernelSuccess) {
    std::printf("Error: IOServiceOpen() = %08x\n", status);
    return 1;
  }
  conn = connection;
  return 0;
}

std::uint32_t SMCClose() { return userClient().closeService(conn); }

std::uint32_t SMCCall(std::uint32_t selector, const SMCParamRecord* input, SMCParamRecord* output) {
  return userClient().callStructMethod(conn.load(std::memory_order_relaxed), selector,
                                       std::as_bytes(std::span(input, 1)),
                                       std::as_writable_bytes(std::span(output, 1)));
}

std::uint32_t SMCGetKeyInfo(std::uint32_t packedKey, SMCKeyInfo* keyInfo) {
  SMCKeyInfo info;
  SMCExchange exchange;
  const KernelStatus status = getKeyInfo(packedKey, info, exchange);
  if (status == platform::kKernelSuccess) {
    keyInfo->dataSize = info.dataSize;
    keyInfo->dataType = info.dataType;
    keyInfo->dataAttributes = info.dataAttributes;
  }
  return status;
}

std::uint32_t smcReadPayload(std::uint32_t packedKey, SMCKeyInfo& info, SMCExchange& exchange) {
  const KernelStatus status = getKeyInfo(packedKey, info, exchange);
  if (status != platform::kKernelSuccess) {
    return status;
  }
  auto& [request, reply] = exchange;
  request.key = packedKey;
  request.keyInfo.dataSize = info.dataSize;
  request.command = kReadBytes;
  return send(request, reply);
}

std::uint32_t SMCReadKey(const char* keyText, SMCValueRecord* valueOut) {
  return readKey(packed(keyText), *valueOut);
}

std::uint32_t SMCReadKeyByIndex(std::uint32_t index, SMCValueRecord* valueOut) {
  SMCParamRecord request;
  SMCParamRecord reply;
  request.command = kKeyAtIndex;
  request.data32 = index;
  const KernelStatus status = send(request, reply);
  if (status != platform::kKernelSuccess) {
    return status;
  }
  if (reply.result != 0) {
    return platform::kIOReturnError;
  }
  return readKey(reply.key, *valueOut);
}

std::uint32_t SMCWriteKey(SMCValueRecord value) {
  SMCValueRecord current;
  const KernelStatus status = SMCReadKey(value.key, &current);
  if (status != platform::kKernelSuccess) {
    return status;
  }
  if (current.dataSize != value.dataSize) {
    return platform::kIOReturnError;
  }
  SMCParamRecord request;
  SMCParamRecord reply;
  request.key = packed(value.key);
  request.keyInfo.dataSize = current.dataSize;
  request.command = kWriteBytes;
  std::memcpy(request.bytes, value.bytes, sizeof request.bytes);
  return send(request, reply);
}

}  // namespace kelvora
