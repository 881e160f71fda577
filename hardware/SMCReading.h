#pragma once

#include <cstdint>

#include "KelvoraCore/SMCRecords.h"

// Reading a key by its packed code, without the texts of an SMCValueRecord.

namespace kelvora {

/// The records of calls to the SMC. One exchange may serve many keys one after the other.
struct SMCExchange {
  SMCParamRecord request;  ///< zero but for the fields of the last call
  SMCParamRecord reply;
};

/// Looks up a key's information and reads its payload into `exchange.reply.bytes`: the calls and
/// the status of SMCReadKey. `info` comes zero; on failure it holds what was learned before.
std::uint32_t smcReadPayload(std::uint32_t packedKey, SMCKeyInfo& info, SMCExchange& exchange);

/// SMCConvertValueToNumber of a payload.
float smcNumber(const SMCKeyInfo& info, const std::uint8_t (&bytes)[32]);

}  // namespace kelvora
