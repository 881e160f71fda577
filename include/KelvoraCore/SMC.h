#pragma once

#include <cstdint>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/SMCRecords.h"

// The System Management Controller by its own protocol: 80-byte records that are exchanged with the
// user client of the `AppleSMC` service. These functions use one connection, that of the process to
// the current platform. Any thread may call them; none allocates. Statuses are IOKit's, 0 is
// success; only SMCOpen prints anything, as described below; nothing is logged.

namespace kelvora {

extern "C" {

/// Connects to the first `AppleSMC` service of the current platform. Returns 0, or 1 on any failure
/// after printing it to standard output: "Error: no SMC found". Does not close a connection that
/// was open before, so reads that other threads have under way end well. After a failure there is
/// no valid connection: every other call fails with an IOKit status.
KELVORA_EXPORT std::uint32_t SMCOpen();

/// Closes the connection and returns the status of IOServiceClose.
KELVORA_EXPORT std::uint32_t SMCClose();

/// Calls IOConnectCallStructMethod once on the connection and returns its status. The SMC's
/// commands use the selector SMCSelector.
KELVORA_EXPORT std::uint32_t SMCCall(std::uint32_t selector, const SMCParamRecord* input,
                                     SMCParamRecord* output);

/// Fills `dataSize`, `dataType` and `dataAttributes` of `keyInfo`, e.g. 2, "sp78" packed and 0xd0;
/// its `key` is not written. The information of the first 100 keys is cached, so a later call for
/// one of them does not contact the SMC. A key that the SMC does not know gives success and size 0,
/// and is cached like any other. On failure `keyInfo` stays as it was and nothing is cached.
KELVORA_EXPORT std::uint32_t SMCGetKeyInfo(std::uint32_t packedKey, SMCKeyInfo* keyInfo);

/// Reads a key by its first four bytes (a shorter text is padded with NUL) and copies all 32
/// payload bytes of the reply. The SMC's result byte is not examined: an unknown key gives success
/// and size 0. On failure the record holds the key, and its size and type if those were read; the
/// payload is zero.
KELVORA_EXPORT std::uint32_t SMCReadKey(const char* keyText, SMCValueRecord* valueOut);

/// Reads the key at a position of the SMC's key table, counted from 0: name, size, type and
/// payload. Returns 0xe00002bc (kIOReturnError) without reading a key when the reply has a result
/// other than SMCResultSuccess, as beyond the end of the table.
KELVORA_EXPORT std::uint32_t SMCReadKeyByIndex(std::uint32_t index, SMCValueRecord* valueOut);

/// Writes a record's 32 bytes to its key; needs root on a live Mac. Returns 0xe00002bc, without
/// writing, when the record's size is not exactly the key's own. The SMC's result byte is not
/// examined.
KELVORA_EXPORT std::uint32_t SMCWriteKey(SMCValueRecord value);

/// A record's payload as a number by its type and size: "sp78" bytes ff 80 are -0.5, "{pwm" bytes
/// 80 00 are 50 (percent). 0 for size 0; exactly -1 when type or size are unknown, which looks like
/// a genuine reading of -1. Types are compared with their NUL: "ui8" followed by two NULs is
/// unknown. "ui8 ", "ui16" and "ui32" are taken at any size, modulo 2^32 and at most 32 bytes.
KELVORA_EXPORT float SMCConvertValueToNumber(SMCValueRecord value);

/// The first `size` bytes as a big-endian integer modulo 2^32. With base 16, and no other, each
/// byte is extended by its sign before it is shifted: ff 01 is 4294967041 for base 16 and 65281 for
/// base 10. 0 for a size below 1.
KELVORA_EXPORT std::uint32_t SMCConvertStringToNumber(const std::uint8_t* bytes, std::int32_t size,
                                                      std::int32_t base);

/// Writes the four bytes of a packed key or type and a NUL to `textOut`, which has space for five:
/// 0x54433050 gives "TC0P". Returns the count of characters, 4.
KELVORA_EXPORT std::int32_t SMCConvertNumberToString(char* textOut, std::uint32_t packed);

/// Unsigned big-endian fixed point, exact only for two fraction bits: 0f a2 is 1000.5 for "fpe2".
/// With any other count the last bits still count in quarters, which users of the function rely on.
/// 0 for a size below 1 and for fraction bits outside 0 to 8.
KELVORA_EXPORT float _strtof(const std::uint8_t* bytes, std::int32_t size,
                             std::int32_t fractionBits);

}  // extern "C"

}  // namespace kelvora
