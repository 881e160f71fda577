#pragma once

#include <cstdint>
#include <string>

namespace kelvora {

/// How many bytes make a kilobyte.
enum class ByteCountStyle : std::uint8_t {
  kDecimal,  ///< 1000, as disks are sold: 500277792768 bytes are "500.28 GB"
  kMemory,   ///< 1024, as memory is: 17179869184 bytes are "16 GB"
};

/// A number of bytes for display, by the rules of the platform's byte-count formatter: in the
/// largest unit that gives at least 1, with no decimals up to KB, at most one for MB and at most
/// two from GB on, without trailing zeros ("1.5 GB", "1 byte", "1,023 bytes"); 0 gives "Zero KB".
/// Words and digits are English in every language and locale: this layer knows no language, and
/// "500,28 GB" beside "Zero KB" would be half of each. Any thread.
std::string formattedByteCount(std::uint64_t bytes, ByteCountStyle style);

}  // namespace kelvora
