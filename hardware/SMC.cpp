#include "KelvoraCore/SMC.h"

#include <algorithm>
#include <string_view>

#include "hardware/SMCConnection.h"

namespace kelvora {

namespace {

SMCConnection& connection() { return *SMCConnection::ofProcess(); }

// Looks at no more than four bytes: the text need not have a NUL after them.
std::uint32_t packedKey(const char* text) {
  const char* const end = std::find(text, text + 4, '\0');
  return SMCPackedKey({text, end});
}

}  // namespace

std::uint32_t SMCOpen() { return connection().open(); }

std::uint32_t SMCClose() { return connection().close(); }

std::uint32_t SMCCall(std::uint32_t selector, const SMCParamRecord* input, SMCParamRecord* output) {
  return connection().call(selector, *input, *output);
}

std::uint32_t SMCGetKeyInfo(std::uint32_t packedKey, SMCKeyInfo* keyInfo) {
  SMCKeyInfo info;
  const std::uint32_t status = connection().getKeyInfo(packedKey, info);
  if (status == platform::kKernelSuccess) {
    keyInfo->dataSize = info.dataSize;
    keyInfo->dataType = info.dataType;
    keyInfo->dataAttributes = info.dataAttributes;
  }
  return status;
}

std::uint32_t SMCReadKey(const char* keyText, SMCValueRecord* valueOut) {
  return connection().readKey(packedKey(keyText), *valueOut);
}

std::uint32_t SMCReadKeyByIndex(std::uint32_t index, SMCValueRecord* valueOut) {
  return connection().readKeyByIndex(index, *valueOut);
}

std::uint32_t SMCWriteKey(SMCValueRecord value) {
  return connection().writeKey(packedKey(value.key), value);
}

}  // namespace kelvora
