#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

#include "KelvoraCore/Export.h"
#include "KelvoraCore/SMCCipher.h"

/// Enciphers and deciphers bytes with a symmetric cipher, as CommonCrypto does. The library has no
/// key of its own and enciphers nothing itself: this is for the programs around it.
///
/// What it does not give:
/// - No authentication. Changes to the bytes in transit are not detected; only wrong padding is
///   reported.
/// - No protection by the two short functions: they use DES, whose keys can be found by brute
///   force. They exist for data that older programs have enciphered.
/// - No secret beginnings: equal beginnings of messages give equal bytes unless each message has
///   its own vector; the default is all zeros. In ECB mode every equal block does.
/// - No key from a password: the bytes of a text are the key.
///
/// The library keeps no key: the only copy is the cipher's own, which is wiped, like data
/// deciphered before a failure. All functions may be called on any thread. Nothing is logged.
namespace kelvora::SMCEncryption {

using Data = std::vector<std::byte>;

/// A key or a vector: a text, whose UTF-8 bytes count, or bytes. Not owned.
using TextOrData = std::variant<std::string_view, std::span<const std::byte>>;

/// The bytes enciphered by DES in CBC mode with a vector of zeros and padding:
/// a multiple of 8 that is longer than `data`, 8 for none. `key` has 8 bytes, e.g. "s3cr3t!!".
/// None on failure: the key has another length, or the computer has no DES.
KELVORA_EXPORT std::optional<Data> encryptedDataWithKey(std::span<const std::byte> data,
                                                        std::string_view key);

/// What `encryptedDataWithKey` was given. None also if the bytes are damaged or the key is another
/// one, as far as the padding shows it.
KELVORA_EXPORT std::optional<Data> decryptedDataWithKey(std::span<const std::byte> data,
                                                        std::string_view key);

/// The bytes enciphered by an algorithm with options, numbers of SMCCipher.h; bits that name no
/// option are ignored. The key is used as it is, neither filled up nor cut. The vector has at least
/// a block's bytes, of which the first count; without one it is all zeros. Neither ECB mode nor RC4
/// reads it.
///
/// On failure returns none and sets `error`, which may be null, to a status, e.g.
/// kSMCCipherKeySizeError. On success `error` is left as it was.
KELVORA_EXPORT std::optional<Data> encryptedDataUsingAlgorithm(
    std::span<const std::byte> data, std::uint32_t algorithm, const TextOrData& key,
    const std::optional<TextOrData>& initializationVector, std::uint32_t options,
    std::int32_t* error = nullptr);

/// What `encryptedDataUsingAlgorithm` was given, by the same rules.
KELVORA_EXPORT std::optional<Data> decryptedDataUsingAlgorithm(
    std::span<const std::byte> data, std::uint32_t algorithm, const TextOrData& key,
    const std::optional<TextOrData>& initializationVector, std::uint32_t options,
    std::int32_t* error = nullptr);

}  // namespace kelvora::SMCEncryption
