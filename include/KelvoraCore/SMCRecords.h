#pragma once

#include <cstddef>
#include <cstdint>

#include "KelvoraCore/Export.h"

// What is exchanged with the System Management Controller. A key ("TC0P") or a data type ("sp78")
// is four bytes. Packed, it is a 32-bit number with the first byte in the most significant place:
// "TC0P" is 0x54433050.

namespace kelvora {

/// What the SMC tells of a key. A cache keeps the entries of the first 100 keys that are asked for.
struct KELVORA_EXPORT SMCKeyInfo {
  std::uint32_t key = 0;            ///< packed
  std::uint32_t dataSize = 0;       ///< payload bytes that the key holds, 0 when it is unknown
  std::uint32_t dataType = 0;       ///< packed, e.g. 0x73703738 for "sp78"
  std::uint8_t dataAttributes = 0;  ///< as the SMC reports them
  std::uint8_t padding[3] = {};
};

/// One key with its payload. Integers and fixed-point values in `bytes` are big-endian; "flt " is
/// in host byte order. Payload bytes beyond `dataSize` are zero after a read.
struct KELVORA_EXPORT SMCValueRecord {
  char key[5] = {};  ///< four bytes and a NUL
  std::uint8_t padding0[3] = {};
  std::uint32_t dataSize = 0;  ///< as the SMC reports it; more than 32 from a faulty SMC
  char dataType[5] = {};       ///< four bytes with any trailing blank ("ui8 ") and a NUL
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
  std::uint32_t key = 0;                      ///< request; at index replies, the key found there
  std::uint8_t versionAndLimitData[24] = {};  ///< two blocks of the driver's, always zero here
  SMCParamKeyInfo keyInfo;                    ///< reply of command 9; size set in reads and writes
  std::uint8_t result = 0;                    ///< the SMC's result byte: 0 success, 132 no such key
  std::uint8_t status = 0;
  std::uint8_t command = 0;  ///< 5 read bytes, 6 write bytes, 8 key at index, 9 key information
  std::uint8_t padding = 0;
  std::uint32_t data32 = 0;     ///< the index of command 8
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
