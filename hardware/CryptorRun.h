#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "KelvoraCore/SMCEncryption.h"

#include "ports/Cryptor.h"

namespace kelvora {

/// Processes all of `data` at once. `status` is that of the last step; none unless it is 0. What
/// was written before a failure is wiped.
std::optional<SMCEncryption::Data> runCryptor(platform::Cryptor& cryptor,
                                              std::span<const std::byte> data,
                                              std::int32_t& status);

}  // namespace kelvora
