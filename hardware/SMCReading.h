#pragma once

#include <cstdint>

#include "KelvoraCore/SMCRecords.h"

// Reading a key by its packed code, without the texts of an SMCValueRecord.

namespace kelvora {

/// Looks up a key's information and reads its payload into `reply.bytes`: the calls and the status
/// of SMCReadKey. `info` and `reply` come zero; on failure `info` holds what was learned before.
std::uint32_t smcReadPayload(std::uint32_t packedKey, SMCKeyInfo& info, SMCParamRecord& reply);

/// SMCConvertValueToNumber of a payload.
float smcNumber(const SMCKeyInfo& info, const std::uint8_t (&bytes)[32]);

}  // namespace kelvora
