#pragma once

#include <cstdint>

// The numbers of CommonCrypto, the system's cipher library, which SMCEncryption takes and returns.
// They never change: other programs store and pass them.
namespace kelvora {

// Algorithms. Every one but RC4 works on blocks: of 16 bytes for AES, of 8 bytes for the others.

inline constexpr std::uint32_t kSMCCipherAES = 0;   ///< keys of 16, 24 or 32 bytes
inline constexpr std::uint32_t kSMCCipherDES = 1;   ///< keys of 8 bytes; broken
inline constexpr std::uint32_t kSMCCipher3DES = 2;  ///< keys of 24 bytes
inline constexpr std::uint32_t kSMCCipherCAST = 3;  ///< CAST-128: keys of 5 to 16 bytes
/// Keys of 1 to 512 bytes, of which 256 count; broken. Takes neither a vector nor padding.
inline constexpr std::uint32_t kSMCCipherRC4 = 4;
inline constexpr std::uint32_t kSMCCipherRC2 = 5;       ///< keys of 1 to 128 bytes; broken
inline constexpr std::uint32_t kSMCCipherBlowfish = 6;  ///< keys of 8 to 56 bytes

// Options: bits that can be combined. 0 is CBC without padding.

/// Data of any length: 1 byte to a whole block is added, and removed again.
inline constexpr std::uint32_t kSMCCipherPKCS7Padding = 1;
/// Each block by itself, without a vector.
inline constexpr std::uint32_t kSMCCipherECBMode = 2;

// Statuses. The system's library may return others of its own numbers.

inline constexpr std::int32_t kSMCCipherSuccess = 0;
/// There is no such algorithm, or the vector is shorter than a block.
inline constexpr std::int32_t kSMCCipherParamError = -4300;
/// Never returned by SMCEncryption, whose buffers are large enough.
inline constexpr std::int32_t kSMCCipherBufferTooSmall = -4301;
/// There is no memory for the cipher.
inline constexpr std::int32_t kSMCCipherMemoryFailure = -4302;
/// The data does not fill its blocks: it needs padding, or was cut.
inline constexpr std::int32_t kSMCCipherAlignmentError = -4303;
/// The padding is wrong: another key, or damaged data.
inline constexpr std::int32_t kSMCCipherDecodeError = -4304;
/// This computer lacks the algorithm.
inline constexpr std::int32_t kSMCCipherUnimplemented = -4305;
/// The algorithm takes no key of this length.
inline constexpr std::int32_t kSMCCipherKeySizeError = -4310;

}  // namespace kelvora
