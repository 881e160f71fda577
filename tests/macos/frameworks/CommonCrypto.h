#pragma once

namespace kelvora::testing::mac {

/// The status of a call of the double of CommonCrypto that is to fail.
inline constexpr int kCipherFailure = -4308;

/// What turns over bits of each byte. One byte is added at the end, as padding adds some.
inline constexpr unsigned char kCipherMask = 0x5a;

}  // namespace kelvora::testing::mac
