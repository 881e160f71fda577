#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelvora {

class Platform;

/// Whether a key can be read at all. Over a connection of its own, any thread.
bool isReadable(Platform& platform, std::string_view key);

/// Whether the SMC answers that it does not know a key, e.g. "F0Md" where fans have no mode. False
/// if it does not answer. Likewise.
bool isUnknown(Platform& platform, std::string_view key);

/// Whether the SMC has a key in its list, e.g. "F0Md". On Linux the driver may have a value for a
/// key that the SMC itself lacks. Reads the whole list. Over its own connection, any thread.
bool isListed(Platform& platform, std::string_view key);

/// Whether a key holds the bytes of a hexadecimal text, e.g. ("F0Md", "00"). False also when the
/// key cannot be read. Likewise.
bool readsAs(Platform& platform, std::string_view key, std::string_view value);

/// Those of `keys`, e.g. modes of fans, that have a value other than zero; not one that cannot be
/// read. Over one connection of its own, any thread.
std::vector<std::string> nonzeroKeys(Platform& platform, std::vector<std::string> keys);

}  // namespace kelvora
