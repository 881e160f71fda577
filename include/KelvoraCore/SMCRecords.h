#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "KelvoraCore/Export.h"

// The records and numbers of the protocol of the System Management Controller. A key ("TC0P") or a
// data type ("sp78") is four bytes. Packed, it is a 32-bit number with the first byte in the most
// significant place: "TC0P" is 0x54433050.

namespace kelvora {

/// Packs the first four bytes of a key or type; a shorter text is padded with NUL: "TC0P" gives
/// 0x54433050, "TB" gives 0x54420000.
constexpr std::uint32_t SMCPackedKey(std::string_view text) {
  std::uint32_t packed = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    packed = packed << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0U);
  }
  return packed;
}

/// The method of the user client that takes all commands.
inline constexpr std::uint32_t SMCSelector = 2;

/// The `command` of a request.
enum SMCCommand : std::uint8_t {
  SMCCommandReadBytes = 5,
  SMCCommandWriteBytes = 6,
  SMCCommandKeyAtIndex = 8,
  SMCCommandGetKeyInfo = 9,
};

/// The `result` of a reply. These are the values that this library knows; an SMC has more.
enum SMCResult : std::uint8_t {
  SMCResultSuccess = 0,
  SMCResultKeyNotFound = 132,
  SMCResultNotReadable = 133,
  SMCResultWrongSize = 135,
};

/// What the SMC reports about a key.
struct KELVORA_EXPORT SMCKeyInfo {
  std::uint32_t key = 0;            ///< packed
  std::uint32_t dataSize = 0;       ///< payload bytes that the key holds, 0 when it is unknown
  std::uint32_t dataType = 0;       ///< packed, e.g. 0x73703738 for "sp78"
  std::uint8_t dataAttributes = 0;  ///< as the SMC reports them
  std::uint8_t padding[3] = {};
};

/// One key with its payload. Integers and fixed-point values in `bytes` are big-endian; "flt " is
/// in host byte order.
struct KELVORA_EXPORT SMCValueRecord {
  char key[5] = {};  ///< four bytes and a NUL
  std::uint8_t padding0[3] = {};
  std::uint32_t dataSize = 0;  ///< as the SMC reports it; more than 32 from a faulty SMC
  char dataType[5] = {};       ///< four bytes with any trailing blank ("ui8 ") and a NUL
  /// All 32 bytes of the reply. Those beyond `dataSize` have no meaning; most SMCs send zeros.
  std::uint8_t bytes[32] = {};
  std::uint8_t padding1[3] = {};
};

/// The key information inside a parameter record.
struct KELVORA_EXPORT SMCParamKeyInfo {
  std::uint32_t dataSize = 0;
  std::uint32_t dataType = 0;
  std::uint8_t dataAttributes = 0;
  std::uint8_t padding[3] = {};
};

/// Request and reply of every call: the wire format of the system's SMC driver. Fields of several
/// bytes are in host byte order.
struct KELVORA_EXPORT SMCParamRecord {
  std::uint32_t key = 0;                      ///< request; SMCCommandKeyAtIndex replies with it
  std::uint8_t versionAndLimitData[24] = {};  ///< two blocks of the driver, always zero here
  SMCParamKeyInfo keyInfo;  ///< reply of SMCCommandGetKeyInfo; size set in reads and writes
  std::uint8_t result = 0;  ///< reply: an SMCResult
  std::uint8_t status = 0;
  std::uint8_t command = 0;  ///< request: an SMCCommand
  std::uint8_t padding = 0;
  std::uint32_t data32 = 0;     ///< the index of SMCCommandKeyAtIndex
  std::uint8_t bytes[32] = {};  ///< payload
};

static_assert(sizeof(SMCKeyInfo) == 16);
static_assert(offsetof(SMCKeyInfo, key) == 0);
static_assert(offsetof(SMCKeyInfo, dataSize) == 4);
static_assert(offsetof(SMCKeyInfo, dataType) == 8);
static_assert(offsetof(SMCKeyInfo, dataAttributes) == 12);

static_assert(sizeof(SMCValueRecord) == 52);
static_assert(offsetof(SMCValueRecord, key) == 0);
static_assert(offsetof(SMCValueRecord, dataSize) == 8);
static_assert(offsetof(SMCValueRecord, dataType) == 12);
static_assert(offsetof(SMCValueRecord, bytes) == 17);

static_assert(sizeof(SMCParamRecord) == 80);
static_assert(offsetof(SMCParamRecord, key) == 0);
static_assert(offsetof(SMCParamRecord, versionAndLimitData) == 4);
static_assert(offsetof(SMCParamRecord, keyInfo) == 28);
static_assert(offsetof(SMCParamRecord, keyInfo.dataType) == 32);
static_assert(offsetof(SMCParamRecord, keyInfo.dataAttributes) == 36);
static_assert(offsetof(SMCParamRecord, keyInfo.padding) == 37);
static_assert(offsetof(SMCParamRecord, result) == 40);
static_assert(offsetof(SMCParamRecord, status) == 41);
static_assert(offsetof(SMCParamRecord, command) == 42);
static_assert(offsetof(SMCParamRecord, padding) == 43);
static_assert(offsetof(SMCParamRecord, data32) == 44);
static_assert(offsetof(SMCParamRecord, bytes) == 48);

}  // namespace kelvora
