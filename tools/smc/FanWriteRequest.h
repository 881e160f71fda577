#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kelvora::tool {

/// What a key of a fan means.
enum class FanKeyKind : std::uint8_t { kMode, kTarget, kMinimum };

/// A command line that asks for a write the tool may do.
struct FanWriteRequest {
  std::string key;  ///< e.g. "F0Tg"
  FanKeyKind kind = FanKeyKind::kMode;
  std::vector<std::uint8_t> bytes;  ///< 1 to 32

  /// A key of the same fan, e.g. "F0Mx" for "Mx".
  std::string keyOfFan(const char* suffix) const { return key.substr(0, 2) + suffix; }
};

/// Reads the arguments of a process: the program's name, which may be anything, and then exactly
/// "-k", the key, "-w" and the bytes in hexadecimal digits of either case. The key is "F", one of
/// "0" to "9" and "A" to "J", and "Md", "Tg" or "Mn". Throws a Failure.
FanWriteRequest parsedRequest(std::span<const char* const> arguments);

}  // namespace kelvora::tool
