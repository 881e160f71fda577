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
/// two from GB on, without trailing zeros ("1.5 GB", "1 byte", "512 bytes"), digits by the current
/// locale; 0 gives "Zero KB". Any thread.
std::string formattedByteCount(std::uint64_t bytes, ByteCountStyle style);

}  // namespace kelvora
