#pragma once

#include <string>

namespace kelvora::tool {

/// At most two decimals, and none that are 0: "2.6", "16".
std::string decimalText(double number);

// Numbers of bytes in the largest unit in which they are at least 1: "500.28 GB", "0 bytes".

/// In thousands, as the makers of disks count, and as networks are measured.
std::string decimalByteText(double bytes);
/// In multiples of 1024, as memory is measured.
std::string binaryByteText(double bytes);

}  // namespace kelvora::tool
